// Whether somebody else could have written what this process is about to rely on.
//
// A file or folder is trusted when it belongs to root or to the user that runs the process, and
// when neither its group nor others may write it. An access list that lets more users write shows
// in the group's permission, so it is refused too. Whoever may write a folder can put another entry
// in the place of any in it, so every folder on the way from "/" has to be trusted, and so has
// every link and every folder on the way to where it leads. On the way, a folder that others may
// write to is trusted if its sticky bit keeps them from replacing what is not theirs, as in /tmp:
// the entry in it has to belong to root or the user then. The folder that holds the file itself has
// to be closed to others without that, as they could make the file where there is none.
//
// Where root has another number, as in a user's namespace, its folders are known by the owner of
// "/".

#pragma once

#include "recorder/support/uniquefd.h"

#include <string>

namespace recorder {

// Opens the regular file at `path`, which is absolute, for reading. Links are followed. The
// descriptor is not open where nothing at all has that name: a link that leads nowhere is
// something. Throws Error, with the path and what was expected, when it is not trusted, is no
// regular file, or can't be looked at.
[[nodiscard]] UniqueFd OpenTrustedFileIfThere(const std::string& path);

// The same for a file that is yet to be opened, or made, in order to write. A link in its place is
// refused. What is out of this process's reach passes: it can't be opened either.
void RequireTrustedUnlinked(const std::string& path);

} // namespace recorder
