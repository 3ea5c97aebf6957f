// Whether a file or folder exists: yes, no, or could not be determined.

#pragma once

#include <string>

namespace recorder {

enum class Presence { Yes, No, Unknown };

// Return whether a folder, or a regular file, exists at `path`, following links. No only if
// certain: nothing exists there, or an entry of another kind.
[[nodiscard]] Presence FolderPresence(const std::string& path);
[[nodiscard]] Presence FilePresence(const std::string& path);

// The longest leading part of `path` that exists: the whole path if it exists, at least the "/" of
// an absolute path.
//
// Throws Error unless the rest is truly absent: the parent folder of the next component exists and
// has no such entry. A dangling link anywhere in the path, a file in place of a folder and a failed
// stat are not absence, because a disk may be missing there.
[[nodiscard]] std::string ExistingPart(const std::string& path);

// The absolute `path` with its links resolved; components that are truly absent stay as they are.
// Throws Error where ExistingPart does.
[[nodiscard]] std::string ResolvedPath(const std::string& path);

// Throws Error unless `path` is the absolute path of a folder. A relative path would depend on the
// folder in which the operator started the command.
void RequireFolder(const std::string& path);

} // namespace recorder
