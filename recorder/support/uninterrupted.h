// System calls that a signal may interrupt before they have any effect.

#pragma once

#include <cerrno>

namespace recorder {

// Repeats a call until it is not interrupted. The call returns -1 and sets errno on failure.
template <typename Call> auto Uninterrupted(const Call& call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace recorder
