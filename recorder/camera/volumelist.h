// The volumes, their states and their cameras, for the operator.

#pragma once

#include <optional>
#include <string>
#include <vector>

namespace recorder {

enum class VolumeState {
    Mounted,    // its identity is above the storage folders of its cameras
    OtherMount, // like Mounted, but the storage folders are on another mount than the identity
    Missing,    // no proof of it is above the storage folders of the cameras bound to it
    Foreign,    // another identity is above the storage folders of the cameras bound to it
    Unreadable, // the identity above the storage folders of its cameras can't be read
    Unbound,    // its cameras are bound to no volume
};

struct VolumeEntry {
    std::optional<std::string> id;   // nothing: neither bound nor found
    std::optional<std::string> root; // nothing: the volume was not found
    std::vector<int> cameraIds;      // in ascending order
    VolumeState state = VolumeState::Mounted;
    bool hasOwnIdentity = false; // true: the cameras have identities
    std::string remark;          // the reason or the remedy; may be empty
};

// Lists each volume that a camera is bound to or is on, and the cameras that are bound to none.
// Cameras with the same result share an entry. Throws Error when the cameras can't be read.
[[nodiscard]] std::vector<VolumeEntry> ListVolumes();

} // namespace recorder
