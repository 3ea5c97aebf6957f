#include "recorder/logging/recorderlog.h"

#include "platform/logging.h"

#include <string_view>

namespace recorder {

namespace {

std::string SourceName(std::string_view path) {
    path.remove_prefix(path.rfind('/') + 1);
    return std::string(path.substr(0, path.rfind('.')));
}

void Log(LOG_LEVEL level, const std::string& message, const SourcePlace& where) {
    KRPrintf(LOG_TYPE_DEFAULT, Enum2String(LOG_CATEG_RECORDER), Enum2String(level),
             SourceName(where.file).c_str(), where.line, where.func, "%s\n", message.c_str());
}

} // namespace

void LogError(const std::string& message, const SourcePlace& where) {
    Log(LOG_LEVEL_ERROR, message, where);
}

void LogWarning(const std::string& message, const SourcePlace& where) {
    Log(LOG_LEVEL_WARNING, message, where);
}

void LogNotice(const std::string& message, const SourcePlace& where) {
    Log(LOG_LEVEL_NOTICE, message, where);
}

} // namespace recorder
