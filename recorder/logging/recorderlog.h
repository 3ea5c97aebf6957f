// The recorder's own log lines, category "recorder". They are few and each tells of something that
// an operator has to know, so no configuration suppresses them.

#pragma once

#include <string>

namespace recorder {

// A place in the source.
struct SourcePlace {
    const char* file;
    int line;
    const char* func;

    // The place of the call, also where this is a default argument. The compilers' builtins, as
    // std::source_location is not there with every compiler that builds this.
    [[nodiscard]] static constexpr SourcePlace Here(const char* file = __builtin_FILE(),
                                                    int line = __builtin_LINE(),
                                                    const char* func = __builtin_FUNCTION()) {
        return {file, line, func};
    }
};

// Something failed.
void LogError(const std::string& message, const SourcePlace& where = SourcePlace::Here());

// Something was refused or passed over, and the work went on.
void LogWarning(const std::string& message, const SourcePlace& where = SourcePlace::Here());

// Nothing is wrong, and an operator may look for it.
void LogNotice(const std::string& message, const SourcePlace& where = SourcePlace::Here());

} // namespace recorder
