// Mount points and the mounts that paths are on.

#pragma once

#include "recorder/support/presence.h"

#include <optional>
#include <string>

namespace recorder {

// Returns whether the folder at `path`, links followed, is the root of a mount: a mounted disk, or
// a folder that is bound there. A btrfs subvolume is none, although it has its own device number.
// Unknown on a kernel before Linux 5.8. Throws Error when the path can't be examined.
[[nodiscard]] Presence MountPointPresence(const std::string& path);

// Compares mounts instead of file systems: a subvolume has its own device number although it
// appears and disappears with the mount that contains it, and two folders of one file system can be
// two mounts. Kernels before Linux 5.8 don't report the mount, so there the file systems are
// compared. Follows links. Throws Error when either path can't be examined.
[[nodiscard]] bool AreOnOneMount(const std::string& a, const std::string& b);

// Returns the mount point in /etc/fstab that is at or above the absolute `path` and was not seen to
// be mounted. Throws Error if that can't be determined.
[[nodiscard]] std::optional<std::string> UnmountedPointAbove(const std::string& path);

} // namespace recorder
