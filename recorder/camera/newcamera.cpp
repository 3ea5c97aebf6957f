#include "recorder/camera/newcamera.h"

#include "recorder/camera/cameraidentity.h"
#include "recorder/camera/storagefolder.h"
#include "recorder/run/runlock.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/presence.h"
#include "recorder/support/utf8.h"
#include "recorder/support/uuid.h"

#include <algorithm>

namespace recorder {

namespace {

// True if the identity was written by an earlier call for the same camera that did not write a row.
bool IsOfUnfinishedCall(const CameraIdentity& identity, const CameraRow& camera) {
    const std::vector<CameraRow> cameras = ListCameras();
    return identity.id == camera.id && identity.name == camera.name &&
           std::none_of(cameras.begin(), cameras.end(),
                        [&](const CameraRow& other) { return other.uuid == identity.uuid; });
}

// True if the identity may be the row's. A row without a uuid accepts any: an earlier call may have
// stopped before it wrote the row.
bool IsOfRow(const CameraIdentity& identity, const CameraRow& camera) {
    return identity.id == camera.id && identity.uuid == camera.uuid.value_or(identity.uuid);
}

// Returns the uuid for the camera's row: that of the identity in its storage folder, if `isOwn`
// accepts it, or that of a new identity file, which has the row's uuid if there is one.
//
// The file is written before the row, so that a row with a uuid always has a folder with it. A
// crash between the two leaves a folder without a row, which the same command completes, and which
// "krctl camera adopt" finds.
std::string IdentityFor(const CameraRow& camera,
                        bool (*isOwn)(const CameraIdentity&, const CameraRow&)) {
    const std::string& folder = camera.storagePath;
    if (const std::optional<CameraIdentity> found = CameraIdentityIn(folder)) {
        if (!isOwn(*found, camera)) {
            throw Error(folder + " belongs to " + NameOf(*found) + ": krctl camera adopt " +
                        folder);
        }
        return found->uuid;
    }
    std::string uuid = camera.uuid ? *camera.uuid : NewUuid();
    WriteCameraIdentity(folder, {camera.id, camera.name, uuid});
    return uuid;
}

// A name that is displayed as nothing or as something else could not be told from other names.
void RequireProperName(const std::string& name) {
    constexpr const char* kExpected =
        "; expected a text in UTF-8 that is not blank and has no control characters";
    bool isBlank = true;
    for (std::string_view rest = name; !rest.empty();) {
        const Character character = FirstCharacter(rest);
        if (!character.isValid) {
            throw Error("the name \"" + name + "\" has bytes that are not UTF-8" + kExpected);
        }
        if (IsControl(character.code)) {
            throw Error("the name \"" + name + "\" has a control character" + kExpected);
        }
        isBlank = isBlank && IsBlank(character.code);
        rest.remove_prefix(character.bytes.size());
    }
    if (isBlank) {
        throw Error("the name \"" + name + "\" is " + (name.empty() ? "empty" : "blank") +
                    kExpected);
    }
}

void RequireNewName(const std::string& name) {
    for (const CameraRow& other : ListCameras()) {
        if (other.name == name) {
            throw Error("camera " + std::to_string(other.id) + " already has the name \"" + name +
                        "\"");
        }
    }
}

} // namespace

BoundCamera AddNewCamera(int id, const std::string& name, const std::string& storagePath) {
    RequireProperName(name);
    RequireFolder(storagePath);
    const UniqueFd lock = LockCameras();
    CameraRow camera{.id = id, .name = name, .storagePath = WithoutTrailingSlashes(storagePath)};
    if (FindCamera(id)) {
        throw Error("a camera with the id " + std::to_string(id) + " already exists");
    }
    const std::optional<Volume> volume = VolumeOf(camera.storagePath);
    RequireOwnFolder(camera.storagePath, id);
    RequireNewName(name);
    camera.volumeId = IdOf(volume);
    camera.uuid = IdentityFor(camera, IsOfUnfinishedCall);
    AddCamera(camera);
    return {camera, volume, std::nullopt};
}

BoundCamera BindCamera(int id) {
    const UniqueFd lock = LockCameras();
    CameraRow camera = RequireCamera(id);
    // If the folder is missing, its disk isn't mounted, and VolumeOf would find another volume.
    if (FolderPresence(camera.storagePath) != Presence::Yes) {
        throw Error("the storage folder " + camera.storagePath +
                    " does not exist: is its disk mounted?");
    }
    const std::optional<Volume> volume = VolumeOf(camera.storagePath);
    if (!volume && camera.volumeId) {
        throw Error("no volume above " + camera.storagePath +
                    " has an identity: run krctl volume init");
    }
    const std::optional<std::string> volumeBefore = camera.volumeId;
    camera.volumeId = IdOf(volume);
    camera.uuid = IdentityFor(camera, IsOfRow);
    UpdateCamera(camera);
    return {camera, volume, volumeBefore};
}

CameraRow ForgetCamera(int id) {
    const UniqueFd lock = LockCameras();
    CameraRow camera = RequireCamera(id);
    const RunLock runLock = RunLock::Take("no camera was removed");
    RemoveCamera(id);
    return camera;
}

} // namespace recorder
