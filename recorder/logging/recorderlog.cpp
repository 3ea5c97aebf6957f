#include "recorder/logging/recorderlog.h"

#include "platform/logging.h"

#include <string_view>

namespace recorder {

namespace {

// The bare name of a function, from "int KRDB::Execute(KRDB::DB_INSTANCE, ...)".
std::string BareFunctionName(std::string_view signature) {
    signature = signature.substr(0, signature.find('('));
    signature.remove_prefix(signature.find_last_of(" :*&") + 1);
    return std::string(signature);
}

std::string SourceName(std::string_view path) {
    path.remove_prefix(path.rfind('/') + 1);
    return std::string(path.substr(0, path.rfind('.')));
}

void Log(LOG_LEVEL level, const std::string& message, const std::source_location& where) {
    KRPrintf(LOG_TYPE_DEFAULT, Enum2String(LOG_CATEG_RECORDER), Enum2String(level),
             SourceName(where.file_name()).c_str(), static_cast<int>(where.line()),
             BareFunctionName(where.function_name()).c_str(), "%s\n", message.c_str());
}

} // namespace

void LogError(const std::string& message, const std::source_location& where) {
    Log(LOG_LEVEL_ERROR, message, where);
}

void LogWarning(const std::string& message, const std::source_location& where) {
    Log(LOG_LEVEL_WARNING, message, where);
}

} // namespace recorder
