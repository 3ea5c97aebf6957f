// A password in a file of its own.

#pragma once

#include <string>

namespace recorder {

// The first line of the file. Throws Error when it isn't there, is empty, others than its owner
// and its group may read it, or others than its owner may have written it (trust.h).
[[nodiscard]] std::string ReadSecretFile(const std::string& path);

} // namespace recorder
