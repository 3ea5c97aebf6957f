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

// A failure that was said last: of a recording that can't be read in full the tool says so next.
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

std::string Sentence(const char* format, va_list args) {
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

// What its first argument, a path or a name, tells of a file; false for another message.
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
        NoteFailure(Sentence(format, args));
    } else if (IsLevel(level, LOG_LEVEL_WARNING)) {
        Notebook::OfThisProcess().Add(Reason::Warning, Sentence(format, args));
    }
}

// The tool must say all that a plan takes notes of.
const DbgLogCfg* AllThatIsNoted() noexcept {
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

const DbgLogCfg* g_pDbgLogCfg = plan::AllThatIsNoted();
pid_t g_DbgLogPid = 0;

void KRPrintf(LOG_TYPE /*type*/, const char* categ, const char* level, const char* /*file*/,
              int /*line*/, const char* /*func*/, const char* format, ...) {
    va_list args;
    va_start(args, format);
    try {
        plan::NoteMessage(categ, level, format, args);
    } catch (const std::exception&) {
        // Out of memory, or a format that can't be filled: no reason to fail, as in the log.
    }
    va_end(args);
}
