#include "platform/logging.h"

#include "tests/fakes/call.h"
#include "tests/fakes/format.h"

#include <cstdarg>

const DbgLogCfg* g_pDbgLogCfg = nullptr;
pid_t g_DbgLogPid = 0;

template <> const char* Enum2String<LOG_CATEG>(LOG_CATEG value) {
    fakes::RecordDetail("Enum2String<LOG_CATEG>", static_cast<int>(value));
    switch (value) {
    case LOG_CATEG_RECORDER:
        return "recorder";
    case LOG_CATEG_REINDEX:
        return "reindex";
    }
    return "unknown";
}

template <> const char* Enum2String<LOG_LEVEL>(LOG_LEVEL value) {
    fakes::RecordDetail("Enum2String<LOG_LEVEL>", static_cast<int>(value));
    switch (value) {
    case LOG_LEVEL_ERROR:
        return "error";
    case LOG_LEVEL_WARNING:
        return "warning";
    case LOG_LEVEL_NOTICE:
        return "notice";
    case LOG_LEVEL_INFO:
        return "info";
    case LOG_LEVEL_DETAIL:
        return "detail";
    case LOG_LEVEL_DEBUG:
        return "debug";
    case LOG_LEVEL_TRACE:
        return "trace";
    }
    return "unknown";
}

void KRPrintf(LOG_TYPE type, const char* categ, const char* level, const char* file, int line,
              const char* func, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const std::string text = fakes::Format(format, args);
    va_end(args);

    const auto optional = [](const char* name) {
        return name == nullptr ? fakes::Field() : fakes::Field(name);
    };
    fakes::Platform().messages.push_back(
        {type, optional(categ), optional(level), file, line, func, format, text});
    fakes::RecordCall("KRPrintf", static_cast<int>(type), categ == nullptr ? "null" : categ,
                      level == nullptr ? "null" : level, file, func, text);
}
