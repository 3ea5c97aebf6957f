#include "recorder/logging/journal.h"

#include "platform/logging.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace recorder {

namespace {

// For a process whose output is connected to the journal, systemd sets JOURNAL_STREAM to the
// stream's device:inode. The variable stays when standard error is redirected later.
bool IsStderrJournal() {
    static const bool is = [] {
        const char* const stream = std::getenv("JOURNAL_STREAM");
        struct stat64 st = {};
        return stream != nullptr && fstat64(STDERR_FILENO, &st) == 0 &&
               std::to_string(st.st_dev) + ":" + std::to_string(st.st_ino) == stream;
    }();
    return is;
}

int PriorityOf(const char* level) {
    static const std::array<std::pair<LOG_LEVEL, int>, 4> priorities{{
        {LOG_LEVEL_ERROR, LOG_ERR},
        {LOG_LEVEL_WARNING, LOG_WARNING},
        {LOG_LEVEL_NOTICE, LOG_NOTICE},
        {LOG_LEVEL_INFO, LOG_INFO},
    }};
    if (level == nullptr) {
        return LOG_NOTICE;
    }
    for (const auto& [named, priority] : priorities) {
        if (std::strcmp(level, Enum2String(named)) == 0) {
            return priority;
        }
    }
    return LOG_DEBUG;
}

} // namespace

void AppendToJournal(const char* level, const std::string& line) {
    if (IsStderrJournal()) {
        // The priority in the form of sd-daemon(3).
        dprintf(STDERR_FILENO, "<%d>%s\n", PriorityOf(level), line.c_str());
    }
}

} // namespace recorder
