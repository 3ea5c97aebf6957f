// Which mount a path lies on: what is mounted below a folder may be missing while the folder is
// there.

#pragma once

#include <string>

namespace recorder {

// Whether both paths lie on the same mount; links are followed. Mounts are compared, not file
// systems: a subvolume has a device number of its own and comes and goes with the mount that it is
// in, while two folders of one file system can be two mounts. Only a kernel that doesn't say which
// mount it is (before Linux 5.8) is asked for the file system instead.
//
// Throws Error when either can't be looked at.
[[nodiscard]] bool AreOnOneMount(const std::string& a, const std::string& b);

} // namespace recorder
