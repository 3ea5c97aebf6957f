#include "recorder/logging/failures.h"

#include "platform/logging.h"

#include <cstring>

namespace recorder {

namespace {

constexpr const char* kErrnoInFormat = "errno [%d]"; // part of the tool's formats

long& Count() {
    static long count = 0;
    return count;
}

long& CountOfLines() {
    static long count = 0;
    return count;
}

bool IsSame(const char* text, const char* other) {
    return text != nullptr && std::strcmp(text, other) == 0;
}

} // namespace

bool IsFailure(const char* categ, const char* level, const char* format) {
    const bool isRecorders = IsSame(categ, Enum2String(LOG_CATEG_RECORDER));
    return IsSame(level, Enum2String(LOG_LEVEL_ERROR)) &&
           (isRecorders || std::strstr(format, kErrnoInFormat) != nullptr);
}

long FailuresLogged() {
    return Count();
}

void CountFailure() {
    ++Count();
}

long LinesNotLogged() {
    return CountOfLines();
}

void CountLineNotLogged() {
    ++CountOfLines();
}

} // namespace recorder
