// A place in the source, for the log.

#pragma once

namespace recorder {

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

} // namespace recorder
