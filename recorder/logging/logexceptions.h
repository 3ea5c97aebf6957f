// The edge of the recorder: every operation of the platform ends here.

#pragma once

#include "recorder/logging/recorderlog.h"

#include <exception>

namespace recorder {

// Runs `operation` and returns its result. An exception becomes one log line and `failure`, the
// failure value of the platform operation that calls this: no exception leaves the recorder.
template <typename Result, typename Operation>
Result LogExceptions(Result failure, const Operation& operation,
                     const SourcePlace& where = SourcePlace::Here()) noexcept {
    try {
        return operation();
    } catch (const std::exception& error) {
        LogError(error.what(), where);
        return failure;
    }
}

// The same for an operation without a result.
template <typename Operation>
void LogExceptions(const Operation& operation,
                   const SourcePlace& where = SourcePlace::Here()) noexcept {
    try {
        operation();
    } catch (const std::exception& error) {
        LogError(error.what(), where);
    }
}

} // namespace recorder
