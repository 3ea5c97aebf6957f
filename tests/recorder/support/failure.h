// Failures of the recorder's functions.

#pragma once

#include "recorder/support/error.h"

#include <string>

namespace support {

// The text of the Error that the action throws; "none" if it throws none.
template <typename Action> std::string FailureOf(const Action& action) {
    try {
        action();
    } catch (const recorder::Error& error) {
        return error.what();
    }
    return "none";
}

} // namespace support
