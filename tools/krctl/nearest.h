// The name that a mistyped one was probably meant to be.

#pragma once

#include <string>
#include <vector>

// Returns the name that differs least from `typed`: by inserted, deleted, replaced and exchanged
// characters, at most one for every three of its own. Empty if no name is that similar.
[[nodiscard]] std::string Nearest(const std::string& typed, const std::vector<std::string>& names);
