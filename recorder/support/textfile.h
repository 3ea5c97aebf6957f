// Reading a small file of text.

#pragma once

#include "recorder/support/uniquefd.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace recorder {

enum class Links { Follow, Refuse };

// Opens the file at `path` for reading; the descriptor is not open when there is none. Throws Error
// when it can't be told or opened, and when the path is a link where links are refused.
[[nodiscard]] UniqueFd OpenTextFileIfThere(const std::string& path, Links links);

// The content of an open file, of a longer one the first `maxBytes`; `path` is for messages. Throws
// Error when it can't be read.
[[nodiscard]] std::string ReadText(const UniqueFd& file, const std::string& path,
                                   std::size_t maxBytes = SIZE_MAX);

} // namespace recorder
