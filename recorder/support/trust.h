// Whether somebody else could have written what this process is about to rely on: a file or folder
// is trusted when it belongs to root or to the user that runs the process, and when neither its
// group nor others may write it. An access list that lets more users write shows in the group's
// permission, so it is refused too.

#pragma once

#include "recorder/support/uniquefd.h"

#include <string>

namespace recorder {

// Each throws Error, with the path and what was expected, when it is not trusted or can't be looked
// at. What isn't there or is out of this process's reach passes: it can't be opened either.

void DemandTrusted(const UniqueFd& file, const std::string& path);

// The folder that holds the file at `path`. Whoever may write it can put another file there.
void DemandTrustedFolderOf(const std::string& path);

// A regular file that is yet to be opened, if it is there. A link is refused.
void DemandTrustedUnlinked(const std::string& path);

} // namespace recorder
