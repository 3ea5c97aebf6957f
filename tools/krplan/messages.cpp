#include "tools/krplan/messages.h"

#include "platform/database.h"
#include "platform/logging.h"
#include "recorder/logging/failures.h"
#include "recorder/support/format.h"
#include "tools/krplan/notebook.h"
#include "tools/krplan/toolformats.h"

#include <cstdarg>
#include <cstring>
#include <exception>
#include <optional>
#include <string_view>

namespace plan {

namespace {

// The last failure, not noted yet: if the tool's next message names a damaged recording, the
// failure belongs to it and is not noted separately.
std::optional<std::string>& LastFailure() {
    static std::optional<std::string> failure;
    return failure;
}

std::string& LastRefusal() {
    static std::string refusal;
    return refusal;
}

bool IsLevel(const char* level, LOG_LEVEL of) {
    return level != nullptr && std::strcmp(level, Enum2String(of)) == 0;
}

void NoteJob(std::string_view format) {
    for (const JobBeginning& beginning : kJobBeginnings) {
        if (format == beginning.format) {
            Notebook::OfThisProcess().BeginJob(*beginning.table);
        }
    }
}

std::string MessageText(const char* format, va_list args) {
    std::string text = recorder::FormatArgs(format, args);
    if (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

void NoteFailure(std::string text) {
    if (text == LastRefusal()) {
        LastRefusal().clear();
        return;
    }
    LastFailure() = std::move(text);
}

// Notes a message about a file, whose path or name is its first argument. Returns false for any
// other message.
bool NoteFile(std::string_view format, va_list args) {
    Notebook& notebook = Notebook::OfThisProcess();
    if (format == kChangedAfterStart) {
        notebook.Add(Reason::ChangedAfterStart, va_arg(args, const char*));
        return true;
    }
    if (format == kBadEventName || format == kBadSnapshotName) {
        notebook.AddFileOfWalk(Reason::BadlyNamed, va_arg(args, const char*));
        return true;
    }
    return false;
}

void NoteMessage(const char* categ, const char* level, const char* format, va_list args) {
    if (format == kDamaged) {
        LastFailure().reset();
        Notebook::OfThisProcess().Add(Reason::Damaged, va_arg(args, const char*));
        return;
    }
    NoteLastFailure();
    NoteJob(format);
    if (NoteFile(format, args)) {
        return;
    }
    if (recorder::IsFailure(categ, level, format)) {
        NoteFailure(MessageText(format, args));
    } else if (IsLevel(level, LOG_LEVEL_WARNING)) {
        Notebook::OfThisProcess().Add(Reason::Warning, MessageText(format, args));
    }
}

// The log level at which the tool logs all messages that a plan takes notes from.
const DbgLogCfg* LogConfig() noexcept {
    static const DbgLogCfg config = [] {
        DbgLogCfg details;
        details.categLevel.at(LOG_CATEG_REINDEX) = LOG_LEVEL_DETAIL;
        return details;
    }();
    return &config;
}

} // namespace

void NoteRefused(const std::string& why) {
    NoteLastFailure();
    Notebook::OfThisProcess().Add(Reason::Refusal, why);
    LastRefusal() = why;
}

void NoteLastFailure() {
    if (LastFailure()) {
        Notebook::OfThisProcess().Add(Reason::Failure, *LastFailure());
        LastFailure().reset();
    }
}

} // namespace plan

const DbgLogCfg* g_pDbgLogCfg = plan::LogConfig();
pid_t g_DbgLogPid = 0;

void KRPrintf(LOG_TYPE /*type*/, const char* categ, const char* level, const char* /*file*/,
              int /*line*/, const char* /*func*/, const char* format, ...) {
    va_list args;
    va_start(args, format);
    try {
        plan::NoteMessage(categ, level, format, args);
    } catch (const std::exception&) {
        // Out of memory, or a format that can't be filled: ignored, as by the log.
    }
    va_end(args);
}
