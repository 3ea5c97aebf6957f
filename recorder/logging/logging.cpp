#include "platform/logging.h"

#include "recorder/logging/failures.h"
#include "recorder/logging/journal.h"
#include "recorder/logging/logfile.h"
#include "recorder/settings/settings.h"
#include "recorder/support/format.h"
#include "recorder/support/privacy.h"

#include <cstdarg>
#include <exception>
#include <string>

namespace recorder {

namespace {

// Set in this file, which every program of the recorder contains, so that it takes effect before
// main and before any file is written.
[[maybe_unused]] const mode_t kCallersUmask = TightenUmask();

const DbgLogCfg* ConfiguredDbgLog() noexcept {
    const auto& debugLog = SettingsOrDefaults().debugLog;
    return debugLog ? &*debugLog : nullptr;
}

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

// A file's name may contain line ends, and must not look like a line of the log.
std::string EscapeControls(const std::string& text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        if (IsControl(c)) {
            escaped += Format("\\x%02x", static_cast<unsigned int>(static_cast<unsigned char>(c)));
        } else {
            escaped += c;
        }
    }
    return escaped;
}

std::string OneLine(std::string message) {
    if (message.ends_with('\n')) {
        message.pop_back();
    }
    return EscapeControls(message);
}

std::string InBrackets(const char* text) {
    return text == nullptr ? std::string() : "[" + std::string(text) + "] ";
}

} // namespace

} // namespace recorder

const DbgLogCfg* g_pDbgLogCfg = recorder::ConfiguredDbgLog();
pid_t g_DbgLogPid = 0;

void KRPrintf(LOG_TYPE /*type*/, const char* categ, const char* level, const char* file, int line,
              const char* func, const char* format, ...) {
    if (recorder::IsFailure(categ, level, format)) {
        recorder::CountFailure();
    }
    va_list args;
    va_start(args, format);
    try {
        const std::string text = recorder::InBrackets(categ) + recorder::InBrackets(level) + file +
                                 ":" + std::to_string(line) + " " + func + ": " +
                                 recorder::OneLine(recorder::FormatArgs(format, args));
        recorder::AppendToLogFile(text);
        recorder::AppendToJournal(level, text);
    } catch (const std::exception&) {
        // Out of memory, or an invalid format. The log must not make the caller fail.
    }
    va_end(args);
}
