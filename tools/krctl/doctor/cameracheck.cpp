#include "recorder/camera/cameraidentity.h"
#include "recorder/camera/cameratable.h"
#include "recorder/support/error.h"
#include "recorder/support/presence.h"
#include "tools/krctl/doctor/checks.h"

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
    const std::string without = name + ": " + camera.storagePath + " holds no camera's identity";
    if (!found && camera.uuid) {
        return Problem(kSubject, without + ", so no run works on it",
                       "mount its disk; only where the file itself was lost, " +
                           BindCommand(camera) + " writes it anew");
    }
    if (!found) {
        return Warning(kSubject, without, BindCommand(camera));
    }
    if (found->id != camera.id || (camera.uuid && found->uuid != *camera.uuid)) {
        return Problem(kSubject,
                       name + ": " + camera.storagePath + " belongs to another camera, " +
                           NameOf(*found),
                       "krctl camera adopt " + ShellWord(camera.storagePath) +
                           " makes that one known, and this one where its folder is");
    }
    if (!camera.uuid) {
        return Warning(kSubject, name + ": its row holds no identity", BindCommand(camera));
    }
    return Ok(kSubject, name + ": its storage folder " + camera.storagePath + " is its own");
}

// Empty where nothing stands in the way of recording.
std::string Obstacle(const CameraRow& camera) {
    const Presence presence = recorder::FolderPresence(camera.storagePath);
    if (presence == Presence::No) {
        return "is not there";
    }
    if (presence == Presence::Unknown || !MayUse(camera.storagePath, R_OK | X_OK)) {
        return "can't be read by " + UserName(geteuid());
    }
    return MayUse(camera.storagePath, W_OK) ? "" : "can't be written by " + UserName(geteuid());
}

std::string RemedyFor(const CameraRow& camera) {
    return recorder::FolderPresence(camera.storagePath) == Presence::No
               ? "mount its disk; where that is mounted elsewhere now, krctl camera adopt DIR"
               : "let its user have it: chown or chmod " + ShellWord(camera.storagePath);
}

Check CheckCamera(const CameraRow& camera) {
    const std::string name = recorder::NameOf({camera.id, camera.name, ""});
    if (!camera.storagePath.starts_with('/')) {
        return Problem(
            kSubject,
            name + ": its storage folder is no absolute path: \"" + camera.storagePath + "\"",
            "krctl camera remove --id " + std::to_string(camera.id) + ", then krctl camera add");
    }
    const std::string obstacle = Obstacle(camera);
    if (!obstacle.empty()) {
        return Problem(kSubject, name + ": " + camera.storagePath + " " + obstacle,
                       RemedyFor(camera));
    }
    try {
        return CheckIdentity(camera, name);
    } catch (const recorder::Error& error) {
        return Problem(kSubject, name + ": " + error.what(),
                       "restore the file, or move it away and " + BindCommand(camera));
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
            Warning(kSubject, "there is none",
                    "krctl camera add, or krctl camera adopt DIR for those of a disk"));
    }
    return checks;
}
