// System calls that a signal may break off before they have done anything.

#pragma once

#include <cerrno>

namespace recorder {

// Makes a call that returns -1 and sets errno on failure, again for as long as it was interrupted.
template <typename Call> auto Uninterrupted(const Call& call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace recorder
