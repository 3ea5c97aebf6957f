#include "recorder/camera/volumelist.h"

#include "recorder/camera/cameratable.h"
#include "recorder/camera/volume.h"
#include "recorder/support/error.h"

#include <algorithm>

namespace recorder {

namespace {

// The entry of a camera that lies on `found`, without its number.
VolumeEntry EntryOf(const CameraRow& camera, const std::optional<Volume>& found) {
    if (!camera.volumeId && !found) {
        return {{}, {}, {}, VolumeState::Unbound, "no identity: see krctl volume init"};
    }
    if (!camera.volumeId) {
        return {found->id, found->root, {}, VolumeState::Unbound, "see krctl camera bind"};
    }
    if (!found) {
        return {camera.volumeId, {}, {}, VolumeState::Missing, ""};
    }
    if (found->id != *camera.volumeId) {
        return {camera.volumeId, {}, {}, VolumeState::Foreign, found->id + " is in " + found->root};
    }
    return {found->id, found->root, {}, VolumeState::Mounted, ""};
}

bool IsSameAnswer(const VolumeEntry& a, const VolumeEntry& b) {
    return a.id == b.id && a.root == b.root && a.state == b.state && a.remark == b.remark;
}

void AddCameraTo(std::vector<VolumeEntry>& entries, VolumeEntry entry, int cameraId) {
    auto place = std::find_if(entries.begin(), entries.end(),
                              [&](const VolumeEntry& other) { return IsSameAnswer(entry, other); });
    if (place == entries.end()) {
        place = entries.insert(entries.end(), std::move(entry));
    }
    place->cameraIds.push_back(cameraId);
}

// A volume that only stands in another one's place has been on no line so far.
void AddIfNew(std::vector<VolumeEntry>& entries, const Volume& volume) {
    const bool known = std::any_of(entries.begin(), entries.end(), [&](const VolumeEntry& entry) {
        return entry.id == volume.id && entry.root == volume.root;
    });
    if (!known) {
        entries.push_back({volume.id, volume.root, {}, VolumeState::Mounted, "no camera's"});
    }
}

} // namespace

std::vector<VolumeEntry> ListVolumes() {
    std::vector<VolumeEntry> entries;
    std::vector<Volume> volumes;
    for (const CameraRow& camera : ListCameras()) {
        try {
            const std::optional<Volume> found = VolumeOf(camera.storagePath);
            AddCameraTo(entries, EntryOf(camera, found), camera.id);
            if (found) {
                volumes.push_back(*found);
            }
        } catch (const Error& error) {
            AddCameraTo(entries, {camera.volumeId, {}, {}, VolumeState::Unreadable, error.what()},
                        camera.id);
        }
    }
    for (const Volume& volume : volumes) {
        AddIfNew(entries, volume);
    }
    return entries;
}

} // namespace recorder
