// printf into strings.

#pragma once

#include <cstdarg>
#include <string>

namespace recorder {

// Returns the text that vprintf would write. Throws Error if the format is invalid.
[[nodiscard]] std::string FormatArgs(const char* format, va_list args)
    __attribute__((format(printf, 1, 0)));

// Returns the text that printf would write. Throws Error if the format is invalid.
[[nodiscard]] std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace recorder
