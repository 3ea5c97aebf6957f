// What the recorder keeps is not for others. What it makes is closed to them from the start
// (umask.h); this is for what an older version made, or a copy that came from elsewhere.

#pragma once

#include <string>
#include <vector>

namespace recorder {

// Whether users beside the owner and the group may do anything with what is at `path`. A link is
// never open, and neither is what can't be looked at.
[[nodiscard]] bool IsOpenToOthers(const std::string& path);

// The folder and the files in it that are. Throws Error when it can't be listed; there is none
// where it isn't there.
[[nodiscard]] std::vector<std::string> OpenToOthersIn(const std::string& folder);

// Takes the others' permissions from all of them, and returns which they were. Throws Error.
std::vector<std::string> CloseToOthers(const std::string& folder);

} // namespace recorder
