// Reading a small file of text.

#pragma once

#include <optional>
#include <string>

namespace recorder {

// The content of the file at `path`; nothing when there is none. Throws Error when it can't be told
// or read.
[[nodiscard]] std::optional<std::string> ReadTextFileIfThere(const std::string& path);

} // namespace recorder
