// printf into strings.

#pragma once

#include <cstdarg>
#include <string>

namespace recorder {

// The text that vprintf would write. Throws Error when the format can't be filled.
[[nodiscard]] std::string FormatArgs(const char* format, va_list args)
    __attribute__((format(printf, 1, 0)));

// The text that printf would write.
[[nodiscard]] std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace recorder
