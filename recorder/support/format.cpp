#include "recorder/support/format.h"

#include "recorder/support/error.h"

#include <cstdio>

namespace recorder {

std::string FormatArgs(const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) {
        throw Error(std::string("can't fill the format \"") + format + "\"");
    }
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    return text;
}

std::string Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = FormatArgs(format, args);
    va_end(args);
    return text;
}

} // namespace recorder
