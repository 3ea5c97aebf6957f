// The recorder's log lines, category "recorder". They are few, and an operator must know each of
// them, so no configuration suppresses them.

#pragma once

#include <string>

namespace recorder {

// A place in the source.
struct SourcePlace {
    const char* file;
    int line;
    const char* func;

    // The place of the call, also in a default argument. Uses the compilers' builtins because not
    // every supported compiler has std::source_location.
    [[nodiscard]] static constexpr SourcePlace Here(const char* file = __builtin_FILE(),
                                                    int line = __builtin_LINE(),
                                                    const char* func = __builtin_FUNCTION()) {
        return {file, line, func};
    }
};

// Logs a failure.
void LogError(const std::string& message, const SourcePlace& where = SourcePlace::Here());

// Logs that something was refused or skipped and the work continued.
void LogWarning(const std::string& message, const SourcePlace& where = SourcePlace::Here());

// Logs an event that is not a problem.
void LogNotice(const std::string& message, const SourcePlace& where = SourcePlace::Here());

} // namespace recorder
