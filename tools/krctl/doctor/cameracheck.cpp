#include "recorder/camera/cameraidentity.h"
#include "recorder/camera/cameratable.h"
#include "recorder/support/error.h"
#include "recorder/support/presence.h"
#include "tools/krctl/doctor/check.h"

#include <optional>
#include <string>

#include <unistd.h>

namespace {

using recorder::CameraIdentity;
using recorder::CameraRow;
using recorder::Presence;

constexpr const char* kSubject = "camera";

std::string BindCommand(const CameraRow& camera) {
    return "krctl camera bind --id " + std::to_string(camera.id);
}

Check CheckIdentity(const CameraRow& camera, const std::string& name) {
    const std::optional<CameraIdentity> found = recorder::CameraIdentityIn(camera.storagePath);
    const std::string without = name + ": " + camera.storagePath + " holds no camera identity";
    if (!found && camera.uuid) {
        return Problem(
            kSubject, without + ", so runs don't process this camera",
            "mount its disk; only if the disk is mounted and the file was deleted, run " +
                BindCommand(camera));
    }
    if (!found) {
        return Warning(kSubject, without, "run " + BindCommand(camera));
    }
    if (found->id != camera.id || (camera.uuid && found->uuid != *camera.uuid)) {
        return Problem(kSubject,
                       name + ": " + camera.storagePath + " belongs to another camera, " +
                           NameOf(*found),
                       "run krctl camera adopt " + ShellQuoted(camera.storagePath) +
                           " to register that camera, and krctl camera adopt DIR with this "
                           "camera's storage folder");
    }
    if (!camera.uuid) {
        return Warning(kSubject, name + ": its row in the database holds no identity",
                       "run " + BindCommand(camera));
    }
    return Ok(kSubject, name + ": " + camera.storagePath + " holds its identity");
}

// Returns why the storage folder can't be used; empty if it can.
std::string FolderFault(const CameraRow& camera) {
    const Presence presence = recorder::FolderPresence(camera.storagePath);
    if (presence == Presence::No) {
        return "does not exist";
    }
    if (presence == Presence::Unknown || !HasAccess(camera.storagePath, R_OK | X_OK)) {
        return "can't be read by " + UserName(geteuid());
    }
    return HasAccess(camera.storagePath, W_OK) ? "" : "can't be written by " + UserName(geteuid());
}

std::string RemedyFor(const CameraRow& camera) {
    return recorder::FolderPresence(camera.storagePath) == Presence::No
               ? "mount its disk; if it is now mounted at another path, run krctl camera adopt DIR "
                 "with the storage folder there"
               : "give " + UserName(geteuid()) + " access: chown or chmod " +
                     ShellQuoted(camera.storagePath);
}

Check CheckCamera(const CameraRow& camera) {
    const std::string name = recorder::NameOf({camera.id, camera.name, ""});
    if (!camera.storagePath.starts_with('/')) {
        return Problem(kSubject,
                       name + ": expected an absolute path as its storage folder, but it is \"" +
                           camera.storagePath + "\"",
                       "run krctl camera remove --id " + std::to_string(camera.id) +
                           ", then krctl camera add with the absolute path");
    }
    const std::string fault = FolderFault(camera);
    if (!fault.empty()) {
        return Problem(kSubject, name + ": " + camera.storagePath + " " + fault, RemedyFor(camera));
    }
    try {
        return CheckIdentity(camera, name);
    } catch (const recorder::Error& error) {
        return Problem(kSubject, name + ": " + error.what(),
                       "restore the file, or move it away and run " + BindCommand(camera));
    }
}

} // namespace

Checks CheckCameras() {
    Checks checks;
    for (const CameraRow& camera : recorder::ListCameras()) {
        if (camera.dsId == 0) {
            checks.push_back(CheckCamera(camera));
        }
    }
    if (checks.empty()) {
        checks.push_back(
            Warning(kSubject, "no cameras are registered",
                    "run krctl camera add for each camera, or krctl camera adopt DIR for all "
                    "cameras below a folder"));
    }
    return checks;
}
