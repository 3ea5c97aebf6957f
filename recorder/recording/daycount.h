// Recordings by camera and day.

#pragma once

#include <vector>

namespace recorder {

// An entry of the recording counts.
struct DayCount {
    int camId = 0;
    long day = 0;   // days since the epoch, UTC, of the start time
    long count = 0; // recordings
};

struct DayChange {
    int camId = 0;
    long day = 0;
    long added = 0;   // rows of recordings
    long removed = 0; // rows of recordings
};

// Both functions return their entries in no particular order, and throw Error.

[[nodiscard]] std::vector<DayCount> ListDayCounts();

// The changes by the run with this number and token. Only those of the last run that changed
// recordings are stored; nothing is returned for any other run.
[[nodiscard]] std::vector<DayChange> ChangesByDay(long run, long token);

} // namespace recorder
