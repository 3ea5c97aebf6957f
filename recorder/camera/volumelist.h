// What an operator wants to know of the volumes: which are there, and which cameras are on them.

#pragma once

#include <optional>
#include <string>
#include <vector>

namespace recorder {

enum class VolumeState {
    Mounted,    // the identity is where its cameras record to
    OtherMount, // likewise, but the cameras' storage folders are on another mount than the identity
    Missing,    // cameras are bound to it, and above their storage folders is no proof of it
    Foreign,    // cameras are bound to it, and above their storage folders is another identity
    Unreadable, // above the cameras' storage folders is an identity that can't be read
    Unbound,    // the cameras are bound to no volume
};

struct VolumeEntry {
    std::optional<std::string> id;   // nothing: no volume is bound or found
    std::optional<std::string> root; // nothing: the volume isn't found
    std::vector<int> cameraIds;      // in ascending order
    VolumeState state = VolumeState::Mounted;
    bool hasOwnIdentity = false; // the cameras have, which vouch for their storage folders
    std::string remark;          // why it isn't found, or what to do; may be empty
};

// Every volume that a camera is bound to or lies on, and every camera that is bound to none.
// Cameras with the same answer share an entry. Throws Error when the cameras can't be read.
[[nodiscard]] std::vector<VolumeEntry> ListVolumes();

} // namespace recorder
