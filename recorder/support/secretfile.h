// A password in a file of its own.

#pragma once

#include <string>

namespace recorder {

// The first line of the file. Throws Error when it isn't there, is empty, or others than its owner
// and its group may read or write it.
[[nodiscard]] std::string ReadSecretFile(const std::string& path);

} // namespace recorder
