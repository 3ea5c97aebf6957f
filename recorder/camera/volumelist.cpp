#include "recorder/camera/volumelist.h"

#include "recorder/camera/cameratable.h"
#include "recorder/camera/volume.h"
#include "recorder/support/error.h"

#include <algorithm>

namespace recorder {

namespace {

VolumeEntry Entry(const std::optional<std::string>& id, const std::optional<std::string>& root,
                  VolumeState state, const std::string& remark = {}) {
    return {id, root, {}, state, false, remark};
}

std::string OtherMountRemark(const Volume& found) {
    return "the identity in " + found.root + " is on another mount than the storage folder";
}

VolumeEntry EntryOfUnbound(const std::optional<Volume>& found) {
    if (!found) {
        return Entry({}, {}, VolumeState::Unbound, "no identity: run krctl volume init");
    }
    return Entry(found->id, found->root, VolumeState::Unbound, "run krctl camera bind");
}

// The entry of a camera on the volume `found`, still without the camera's id.
VolumeEntry EntryOf(const CameraRow& camera, const std::optional<Volume>& found) {
    if (!camera.volumeId) {
        return EntryOfUnbound(found);
    }
    if (!found) {
        return Entry(camera.volumeId, {}, VolumeState::Missing);
    }
    if (found->id != *camera.volumeId) {
        return Entry(camera.volumeId, {}, VolumeState::Foreign,
                     found->id + " is in " + found->root);
    }
    if (found->sharesMount) {
        return Entry(found->id, found->root, VolumeState::Mounted);
    }
    // Without the camera's own identity, a run does not accept such a volume.
    return camera.uuid
               ? Entry(found->id, found->root, VolumeState::OtherMount, OtherMountRemark(*found))
               : Entry(found->id, {}, VolumeState::Missing, OtherMountRemark(*found));
}

bool IsSameAnswer(const VolumeEntry& a, const VolumeEntry& b) {
    return a.id == b.id && a.root == b.root && a.state == b.state &&
           a.hasOwnIdentity == b.hasOwnIdentity && a.remark == b.remark;
}

void AddCameraTo(std::vector<VolumeEntry>& entries, VolumeEntry entry, const CameraRow& camera) {
    entry.hasOwnIdentity = camera.uuid.has_value();
    auto place = std::find_if(entries.begin(), entries.end(),
                              [&](const VolumeEntry& other) { return IsSameAnswer(entry, other); });
    if (place == entries.end()) {
        place = entries.insert(entries.end(), std::move(entry));
    }
    place->cameraIds.push_back(camera.id);
}

// A volume that was found instead of the expected one has no entry yet.
void AddIfNew(std::vector<VolumeEntry>& entries, const Volume& volume) {
    const bool known = std::any_of(entries.begin(), entries.end(), [&](const VolumeEntry& entry) {
        return entry.id == volume.id && entry.root == volume.root;
    });
    if (!known) {
        entries.push_back(
            Entry(volume.id, volume.root, VolumeState::Mounted, "no camera is bound to it"));
    }
}

} // namespace

std::vector<VolumeEntry> ListVolumes() {
    std::vector<VolumeEntry> entries;
    std::vector<Volume> volumes;
    for (const CameraRow& camera : ListCameras()) {
        try {
            const std::optional<Volume> found = VolumeOf(camera.storagePath);
            AddCameraTo(entries, EntryOf(camera, found), camera);
            if (found) {
                volumes.push_back(*found);
            }
        } catch (const Error& error) {
            AddCameraTo(entries, Entry(camera.volumeId, {}, VolumeState::Unreadable, error.what()),
                        camera);
        }
    }
    for (const Volume& volume : volumes) {
        AddIfNew(entries, volume);
    }
    return entries;
}

} // namespace recorder
