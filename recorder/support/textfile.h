// Reading small text files, and passwords from files.

#pragma once

#include "recorder/support/uniquefd.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace recorder {

enum class Links { Follow, Refuse };

// Opens the file at `path` for reading. The result is not open if the file does not exist. Throws
// Error on every other failure, and for a link where links are refused.
[[nodiscard]] UniqueFd OpenTextFileIfThere(const std::string& path, Links links);

// The content of an open file, at most the first `maxBytes`. `path` is for messages. Throws Error
// if the file can't be read.
[[nodiscard]] std::string ReadText(const UniqueFd& file, const std::string& path,
                                   std::size_t maxBytes = SIZE_MAX);

// The password in the first line of the file. Throws Error if the file does not exist, has no
// password, may be read by users other than its owner and group, or is not trusted
// (trust.h).
[[nodiscard]] std::string ReadSecretFile(const std::string& path);

} // namespace recorder
