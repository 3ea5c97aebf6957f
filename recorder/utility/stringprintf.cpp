#include "platform/utility.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/support/format.h"

#include <cstdarg>

std::string StringPrintf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text =
        recorder::LogExceptions(std::string(), [&] { return recorder::FormatArgs(format, args); });
    va_end(args);
    return text;
}
