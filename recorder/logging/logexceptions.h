// The boundary of the recorder, at which every operation of the platform catches exceptions.

#pragma once

#include "recorder/logging/recorderlog.h"

#include <exception>

namespace recorder {

// Runs `operation` and returns its result. If it throws, logs one line and returns `failure`, the
// failure value of the platform operation, so that no exception leaves the recorder.
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

// Like the other LogExceptions, for an operation without a result.
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
