// Recordings by camera and day.

#pragma once

#include <vector>

namespace recorder {

// As the recording counts have it.
struct DayCount {
    int camId = 0;
    long day = 0;   // days since the epoch, UTC, of the start time
    long count = 0; // recordings
};

struct DayChange {
    int camId = 0;
    long day = 0;
    long added = 0;   // rows of recordings
    long removed = 0; // likewise
};

// Both are in no order, and throw Error.

[[nodiscard]] std::vector<DayCount> ListDayCounts();

// What a run, named by its number and token, added and removed. Known of the last run that did
// either.
[[nodiscard]] std::vector<DayChange> ChangesByDay(long run, long token);

} // namespace recorder
