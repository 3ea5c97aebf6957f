#include "recorder/camera/newcamera.h"

#include "recorder/camera/cameraidentity.h"
#include "recorder/camera/cameralock.h"
#include "recorder/camera/storagefolder.h"
#include "recorder/run/runlock.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/presence.h"
#include "recorder/support/uuid.h"

#include <algorithm>

namespace recorder {

namespace {

std::optional<std::string> IdOf(const std::optional<Volume>& volume) {
    return volume ? std::optional(volume->id) : std::nullopt;
}

[[noreturn]] void RefuseFolderOf(const CameraIdentity& owner, const std::string& folder) {
    throw Error(folder + " belongs to " + NameOf(owner) + ": krctl camera adopt " + folder);
}

// Whether an earlier call for the very same camera left the identity behind and no row.
bool IsLeftBehind(const CameraIdentity& identity, const CameraRow& camera) {
    const std::vector<CameraRow> cameras = ListCameras();
    return identity.id == camera.id && identity.name == camera.name &&
           std::none_of(cameras.begin(), cameras.end(),
                        [&](const CameraRow& other) { return other.uuid == identity.uuid; });
}

// The identity comes first: a row that names one has a folder that vouches for it from the start.
// What a crash leaves is a folder without a row, which the same command completes, and which
// "krctl camera adopt" would find.
std::string IdentityForNew(const CameraRow& camera) {
    const std::optional<CameraIdentity> found = CameraIdentityIn(camera.storagePath);
    if (found && !IsLeftBehind(*found, camera)) {
        RefuseFolderOf(*found, camera.storagePath);
    }
    if (found) {
        return found->uuid;
    }
    std::string uuid = NewUuid();
    WriteCameraIdentity(camera.storagePath, {camera.id, camera.name, uuid});
    return uuid;
}

// The one that the row holds is written to a folder without. A folder's goes to a row without, if
// it is of this id: a call that was broken off between the two.
std::string IdentityForBound(const CameraRow& camera) {
    const std::optional<CameraIdentity> found = CameraIdentityIn(camera.storagePath);
    if (found && (found->id != camera.id || found->uuid != camera.uuid.value_or(found->uuid))) {
        RefuseFolderOf(*found, camera.storagePath);
    }
    if (found) {
        return found->uuid;
    }
    std::string uuid = camera.uuid ? *camera.uuid : NewUuid();
    WriteCameraIdentity(camera.storagePath, {camera.id, camera.name, uuid});
    return uuid;
}

} // namespace

BoundCamera AddNewCamera(int id, const std::string& name, const std::string& storagePath) {
    RequireFolder(storagePath);
    const UniqueFd lock = LockCameras();
    CameraRow camera{.id = id, .name = name, .storagePath = WithoutTrailingSlashes(storagePath)};
    if (FindCamera(id)) {
        throw Error("there is a camera with the id " + std::to_string(id) + " already");
    }
    const std::optional<Volume> volume = VolumeOf(camera.storagePath);
    RequireOwnFolder(camera.storagePath, id);
    camera.volumeId = IdOf(volume);
    camera.uuid = IdentityForNew(camera);
    AddCamera(camera);
    return {camera, volume, std::nullopt};
}

BoundCamera BindCamera(int id) {
    const UniqueFd lock = LockCameras();
    CameraRow camera = RequireCamera(id);
    // Without the folder, its disk isn't mounted: what is found above is not the camera's volume.
    if (FolderPresence(camera.storagePath) != Presence::Yes) {
        throw Error("the storage folder " + camera.storagePath +
                    " is not there: is its disk mounted?");
    }
    const std::optional<Volume> volume = VolumeOf(camera.storagePath);
    if (!volume && camera.volumeId) {
        throw Error("no volume above " + camera.storagePath +
                    " has an identity: see krctl volume init");
    }
    const std::optional<std::string> volumeBefore = camera.volumeId;
    camera.volumeId = IdOf(volume);
    camera.uuid = IdentityForBound(camera);
    UpdateCamera(camera);
    return {camera, volume, volumeBefore};
}

CameraRow ForgetCamera(int id) {
    const UniqueFd lock = LockCameras();
    CameraRow camera = RequireCamera(id);
    const RunLock runLock = RunLock::Take("no camera is removed before it has ended");
    RemoveCamera(id);
    return camera;
}

} // namespace recorder
