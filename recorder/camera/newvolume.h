// Giving a disk an identity, and what to check before and after.

#pragma once

#include <string>
#include <vector>

namespace recorder {

// Throws Error, with the mount point above, unless `folder` is the absolute path of a folder at
// which a disk is mounted. An identity in an ordinary folder stays when the disk below it is
// missing. On a kernel that does not report mount points, no folder is accepted.
void RequireMountPoint(const std::string& folder);

// Returns warnings about identities above the volume at `folder`, and up to three levels below it:
// a camera belongs to the nearest volume above its storage folder. Throws nothing: what can't be
// searched becomes a warning.
[[nodiscard]] std::vector<std::string> WarningsAboutVolume(const std::string& folder);

} // namespace recorder
