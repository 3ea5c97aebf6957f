// A run as its changes are attributed to it.

#pragma once

namespace recorder {

// The number alone can come to mean two runs where databases are restored: each run has a token,
// too.
struct RunIdentity {
    long number = 0; // 0 = no run
    long token = 0;  // random

    bool operator==(const RunIdentity&) const = default;
};

} // namespace recorder
