// Checks whether another user could have written a file that this process relies on.
//
// A file or folder is trusted if it belongs to root or to the user of the process, and if neither
// its group nor others may write it. An access list that allows more users to write is refused too,
// because it shows in the group's permission. A user who may write a folder can replace its
// entries, so every folder on the way from "/" must be trusted, as must every link and every folder
// on the way to its target. A folder on the way that others may write is trusted if it has the
// sticky bit, like /tmp, which prevents them from replacing entries of other users; the entry in it
// must then belong to root or the user. The folder that contains the file must not be writable by
// others even with the sticky bit, because they could create the file if it does not exist.
//
// In a user namespace root may have another number. Its folders are recognised by the owner of "/".

#pragma once

#include "recorder/support/uniquefd.h"

#include <string>

namespace recorder {

// Opens the regular file at the absolute `path` for reading. Links are followed. The result is not
// open if no entry has that name; a dangling link is an entry. Throws Error, with the path and what
// was expected, if the file is not trusted, is not a regular file, or could not be examined.
[[nodiscard]] UniqueFd OpenTrustedFileIfThere(const std::string& path);

// Checks a file that the caller will open or create for writing, and throws like
// OpenTrustedFileIfThere. A link in its place is refused. A path that this process has no
// permission to reach is accepted, because the file can't be opened either.
void RequireTrustedUnlinked(const std::string& path);

// Checks a folder in which the caller will create files, and throws like RequireTrustedUnlinked.
// Links are followed. A path that does not exist is accepted, too.
void RequireTrustedFolder(const std::string& path);

} // namespace recorder
