// Whether something is there, with the third answer.

#pragma once

#include <string>

namespace recorder {

enum class Presence { Yes, No, Unknown };

// Whether a folder, or a regular file, is at `path`; links are followed. No only if it is certain:
// nothing is there, or something of another kind.
[[nodiscard]] Presence FolderPresence(const std::string& path);
[[nodiscard]] Presence FilePresence(const std::string& path);

// The longest leading part of `path` that is there: all of it where it is there itself, at least
// the "/" of an absolute path.
//
// Throws Error unless what follows is truly absent: the folder that would hold the next component
// is there and has no such entry. A link that leads nowhere, wherever it stands in the path, a file
// in place of a folder and what can't be looked at are no absence: a disk may be missing there.
[[nodiscard]] std::string ExistingPart(const std::string& path);

// The absolute `path` with its links resolved; components that are truly absent stay as they are.
// Throws Error where ExistingPart does.
[[nodiscard]] std::string ResolvedPath(const std::string& path);

// Throws Error unless `path` is the absolute path of a folder. An operator's path must not depend
// on where a command was typed.
void RequireFolder(const std::string& path);

} // namespace recorder
