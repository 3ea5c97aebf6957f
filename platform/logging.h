// The log: writing a message, the names of categories and levels, and the configuration that
// decides which messages the callers let through.
//
// The tool's messages are of the category LOG_CATEG_REINDEX. It writes one of level L when
// g_pDbgLogCfg is null and L is at most LOG_LEVEL_NOTICE, when categLevel of the category is at
// least L, or when the first entry of this process in pidLevels has at least L. KRPrintf writes
// whatever it is handed.
//
// Threads, processes and exceptions: platform/taskstatus.h.

#pragma once

#include <array>
#include <utility>
#include <vector>

#include <sys/types.h>

enum LOG_TYPE : int {
    LOG_TYPE_DEFAULT = 0, // the package's log
};

// What a message is about. The numbers are fixed across the package.
enum LOG_CATEG : int {
    LOG_CATEG_RECORDER = 1, // the recorder platform itself
    LOG_CATEG_REINDEX = 48, // the re-index tool
};

// The importance of a message: lower numbers are more important.
enum LOG_LEVEL : int {
    LOG_LEVEL_ERROR = 1,
    LOG_LEVEL_WARNING = 2,
    LOG_LEVEL_NOTICE = 3,
    LOG_LEVEL_INFO = 4,
    LOG_LEVEL_DETAIL = 5,
    LOG_LEVEL_DEBUG = 6,
    LOG_LEVEL_TRACE = 7,
};

// The name of a category or level, as the log shows it and the settings spell it; "unknown" for a
// number that has none. The text is never freed.
template <typename Enum> [[nodiscard]] const char* Enum2String(Enum value);
template <> const char* Enum2String<LOG_CATEG>(LOG_CATEG value);
template <> const char* Enum2String<LOG_LEVEL>(LOG_LEVEL value);

// How much detail the operator asked for.
struct DbgLogCfg {
    static constexpr int kCategories = 64;

    std::array<int, kCategories> categLevel{};    // by category number; 0 = nothing
    std::vector<std::pair<pid_t, int>> pidLevels; // (process id, level); the first entry counts
};

// The configuration in force, or null when the operator has set none. Set before main begins, from
// the recorder's settings, and constant from then on.
extern const DbgLogCfg* g_pDbgLogCfg;

// The process id that pidLevels is searched for; 0 until a caller first needs it and fills it from
// getpid().
extern pid_t g_DbgLogPid;

// Writes one message. `categ` and `level` are texts as Enum2String gives them, or null for a
// message that no configuration suppresses. `file`, `line` and `func` are its place in the
// source. `format` ends in "\n" and is filled as printf does.
//
// The message is one line of the log whatever its arguments hold: control characters in it are
// escaped. It is in the log file when the call returns, so no message is lost when the
// process is killed. A log that another user could have created is not written; one line on stderr
// then gives the reason. Nothing else is written to the terminal. If the log can't be written, the
// caller does not fail.
void KRPrintf(LOG_TYPE type, const char* categ, const char* level, const char* file, int line,
              const char* func, const char* format, ...) __attribute__((format(printf, 7, 8)));
