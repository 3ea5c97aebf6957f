// Formats like printf, from a list of arguments.

#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string>

namespace fakes {

[[nodiscard]] __attribute__((format(printf, 1, 0))) inline std::string Format(const char* format,
                                                                              va_list args) {
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

} // namespace fakes
