// Log messages of the re-index tool, and the gate that each of them passes before any of its
// arguments is built.

#pragma once

#include "platform/logging.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include <unistd.h>

namespace KRIndex {

// Whether the log configuration lets a message of this level through. Without a configuration the
// levels up to 3 are written; with one, what the operator asked for this category or this process.
[[nodiscard]] inline bool IsLogged(LOG_LEVEL level) {
    if (g_pDbgLogCfg == nullptr) {
        return level <= LOG_LEVEL_NOTICE;
    }
    if (g_pDbgLogCfg->categLevel[LOG_CATEG_REINDEX] >= level) {
        return true;
    }
    if (g_DbgLogPid == 0) {
        g_DbgLogPid = getpid();
    }
    const auto& pidLevels = g_pDbgLogCfg->pidLevels;
    const auto first = std::find_if(pidLevels.begin(), pidLevels.end(),
                                    [](const auto& entry) { return entry.first == g_DbgLogPid; });
    return first != pidLevels.end() && first->second >= level;
}

// The name of a source file without folder and extension, from __FILE__.
template <std::size_t N> consteval std::array<char, N> SourceName(const char (&path)[N]) {
    std::string_view name(path, N - 1);
    name.remove_prefix(name.rfind('/') + 1); // npos + 1 is 0: no folder
    name = name.substr(0, name.rfind('.'));
    std::array<char, N> text{};
    std::copy(name.begin(), name.end(), text.begin());
    return text;
}

} // namespace KRIndex

// Macros, because the arguments must not be evaluated when the gate is closed, and because the
// message carries the place where it arose.
#define REINDEX_KRPRINTF(categ, level, ...)                                                        \
    do {                                                                                           \
        static constexpr auto sourceName = KRIndex::SourceName(__FILE__);                          \
        KRPrintf(LOG_TYPE_DEFAULT, categ, level, sourceName.data(), __LINE__, __func__,            \
                 __VA_ARGS__);                                                                     \
    } while (false)

// A message of the category "reindex": REINDEX_LOG(level, format, arguments...).
#define REINDEX_LOG(level, ...)                                                                    \
    do {                                                                                           \
        if (KRIndex::IsLogged(level)) {                                                            \
            REINDEX_KRPRINTF(Enum2String(LOG_CATEG_REINDEX), Enum2String(level), __VA_ARGS__);     \
        }                                                                                          \
    } while (false)

// A message that no configuration suppresses: REINDEX_LOG_ALWAYS(format, arguments...).
#define REINDEX_LOG_ALWAYS(...) REINDEX_KRPRINTF(nullptr, nullptr, __VA_ARGS__)
