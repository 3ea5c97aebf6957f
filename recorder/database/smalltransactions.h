// Work on many rows, in transactions so small that whoever else writes hardly waits.

#pragma once

#include <chrono>
#include <thread>

namespace recorder {

// Some tens of milliseconds of work each.
constexpr int kRowsPerTransaction = 4000;

// To be called between two of them. SQLite doesn't queue its writers: each tries again after a
// sleep, of 25 ms at first. The pause is longer, so one of the attempts falls into it.
inline void PauseForOtherWriters() {
    constexpr std::chrono::milliseconds kPause{30};
    std::this_thread::sleep_for(kPause);
}

} // namespace recorder
