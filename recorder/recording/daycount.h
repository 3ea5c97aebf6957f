// Recordings by camera and day.

#pragma once

#include <vector>

namespace recorder {

// As the recording counts have it.
struct DayCount {
    int camId = 0;
    long day = 0;     // days since the epoch, UTC, of the start time
    long count = 0;   // recordings
    long stampUs = 0; // when the count last changed, microseconds since the epoch
};

struct DayRemoval {
    int camId = 0;
    long day = 0;
    long rows = 0; // of recordings
};

// Both are in no order, and throw Error.

[[nodiscard]] std::vector<DayCount> ListDayCounts();

// What a run removed, as far as the ledger still holds it.
[[nodiscard]] std::vector<DayRemoval> RemovalsByDay(long run);

} // namespace recorder
