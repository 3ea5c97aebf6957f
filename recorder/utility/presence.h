// Whether something is there, with the third answer.

#pragma once

#include <string>

namespace recorder {

enum class Presence { Yes, No, Unknown };

// Whether a folder, or a regular file, is at `path`; links are followed. No only if it is certain:
// nothing is there, or something of another kind.
[[nodiscard]] Presence FolderPresence(const std::string& path);
[[nodiscard]] Presence FilePresence(const std::string& path);

// Throws Error unless `path` is the absolute path of a folder. An operator's path must not depend
// on where a command was typed.
void DemandFolder(const std::string& path);

} // namespace recorder
