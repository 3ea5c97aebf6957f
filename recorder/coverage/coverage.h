// What covers a stretch of time: recordings, or one of the reasons why there is none.

#pragma once

#include <vector>

namespace recorder {

// If several cover a moment, the first in this order counts.
enum class Coverage {
    Recorded,
    NotIndexed,  // a file without a row
    Damaged,     // a file that can't be read
    Unknown,     // could not be determined
    Removed,     // a row without a file
    NotRecorded, // neither a file nor a row
};

// Times are in seconds since the epoch; the end is exclusive.
struct Interval {
    long beginTm = 0;
    long endTm = 0;
    Coverage coverage = Coverage::Recorded;

    bool operator==(const Interval&) const = default;
};

// Gives each interval that ends at or before its beginning, because its length is unknown, a
// length: to the beginning of the next one, but at most the length of the longest recording, or 10
// minutes if no length is known. `intervals` are in the order of their beginnings.
void EstimateLengths(std::vector<Interval>& intervals);

// Returns the coverage of the time from `sinceTm` to `untilTm`: adjacent intervals, each of another
// coverage than the next. `intervals` are in the order of their beginnings, may overlap, and may be
// partly or completely outside of that time.
[[nodiscard]] std::vector<Interval> CoverageOf(const std::vector<Interval>& intervals, long sinceTm,
                                               long untilTm);

// Returns the intervals without a recording. A stretch of them without a recording in between is
// left out if it is shorter than `minSec`; at most 1 s between two recordings is never a gap.
[[nodiscard]] std::vector<Interval> GapsIn(std::vector<Interval> coverage, long minSec);

} // namespace recorder
