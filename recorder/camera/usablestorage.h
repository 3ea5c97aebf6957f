// The storage folder of a camera whose disk is the right one.

#pragma once

#include <string>

namespace recorder {

// Returns the camera's storage folder, without a trailing slash. From then on no link below it is
// followed (ProtectStorageFolder). Throws Error if there is no such camera, its folder is not an
// absolute path, or the volume or the camera's identity is not there.
[[nodiscard]] std::string UsableStoragePath(int id);

} // namespace recorder
