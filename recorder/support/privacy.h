// Protection of the recorder's files from other users. New files are protected by TightenUmask. The
// other functions are for files of older versions and for copies from elsewhere.

#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace recorder {

// Returns true if users other than the owner and the group have any permission for the file at
// `path`. False for a link, and if stat failed.
[[nodiscard]] bool IsOpenToOthers(const std::string& path);

// The paths that are open to others: the folder and its files. Empty if the folder does not exist.
// Throws Error if it can't be listed.
[[nodiscard]] std::vector<std::string> OpenToOthersIn(const std::string& folder);

// Removes the permissions of other users from these paths, and returns the paths. Throws Error.
std::vector<std::string> CloseToOthers(const std::string& folder);

// Sets the umask so that new files have at most mode 0640 and new folders 0750, because recordings
// show people. Only the umask also applies to files that libraries create: databases and their
// journals, logs and rotated logs, and their folders. A stricter umask of the caller stays in
// force.
//
// Returns the caller's umask.
mode_t TightenUmask() noexcept;

} // namespace recorder
