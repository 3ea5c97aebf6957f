// What the recorder keeps is not for others. What it makes is closed to them from the start
// (TightenUmask); this is for what an older version made, or a copy that came from elsewhere.

#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace recorder {

// Whether users beside the owner and the group may do anything with what is at `path`. A link is
// never open, and neither is what can't be looked at.
[[nodiscard]] bool IsOpenToOthers(const std::string& path);

// The folder and the files in it that are. Throws Error when it can't be listed; there is none
// where it isn't there.
[[nodiscard]] std::vector<std::string> OpenToOthersIn(const std::string& folder);

// Takes the others' permissions from all of them, and returns which they were. Throws Error.
std::vector<std::string> CloseToOthers(const std::string& folder);

// Recordings show people: what the recorder makes is for its own user and group alone, files 0640
// and folders 0750 at most, whatever umask the caller has. The umask is the one place that the
// libraries obey too, which make files of their own: databases and their journals, logs and rotated
// logs, and the folders above them. A stricter umask of the caller's stays in force.
//
// Returns the caller's umask.
mode_t TightenUmask() noexcept;

} // namespace recorder
