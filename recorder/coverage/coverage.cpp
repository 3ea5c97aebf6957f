#include "recorder/coverage/coverage.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <limits>

namespace recorder {

namespace {

constexpr long kUsualLengthSec = 600;
constexpr long kToleranceSec = 1; // lengths in rows are rounded
constexpr auto kKinds = static_cast<std::size_t>(Coverage::NotRecorded);

// The latest end of the intervals that were taken, for each coverage.
using Ends = std::array<long, kKinds>;

void Append(std::vector<Interval>& coverage, const Interval& next) {
    if (!coverage.empty() && coverage.back().coverage == next.coverage) {
        coverage.back().endTm = next.endTm;
    } else {
        coverage.push_back(next);
    }
}

// Appends the coverage from `beginTm` to `endTm`, when no further interval begins.
void AppendUntil(std::vector<Interval>& coverage, const Ends& ends, long beginTm, long endTm) {
    while (beginTm < endTm) {
        const auto* const first =
            std::find_if(ends.begin(), ends.end(), [&](long end) { return end > beginTm; });
        long stopTm = endTm;
        if (first != ends.end()) {
            stopTm = std::min(stopTm, *first);
        }
        Append(coverage, {beginTm, stopTm, static_cast<Coverage>(first - ends.begin())});
        beginTm = stopTm;
    }
}

} // namespace

void EstimateLengths(std::vector<Interval>& intervals) {
    long longestSec = 0;
    for (const Interval& each : intervals) {
        if (each.coverage == Coverage::Recorded && each.endTm > each.beginTm) {
            longestSec = std::max(longestSec, each.endTm - each.beginTm);
        }
    }
    const long lengthSec = longestSec > 0 ? longestSec : kUsualLengthSec;
    long nextTm = std::numeric_limits<long>::max(); // the next beginning after that of `each`
    long beginTm = nextTm;
    for (auto each = intervals.rbegin(); each != intervals.rend(); ++each) {
        nextTm = each->beginTm == beginTm ? nextTm : beginTm;
        beginTm = each->beginTm;
        if (each->endTm <= beginTm) {
            each->endTm = std::min(beginTm + lengthSec, nextTm);
        }
    }
}

std::vector<Interval> CoverageOf(const std::vector<Interval>& intervals, long sinceTm,
                                 long untilTm) {
    std::vector<Interval> coverage;
    // Enough unless many overlap. What stays unused is never touched, and needs no memory.
    coverage.reserve(2 * intervals.size() + 1);
    Ends ends;
    ends.fill(sinceTm);
    long reachedTm = sinceTm;
    for (const Interval& each : intervals) {
        if (each.coverage == Coverage::NotRecorded || each.beginTm >= untilTm) {
            continue;
        }
        if (each.beginTm > reachedTm) {
            AppendUntil(coverage, ends, reachedTm, each.beginTm);
            reachedTm = each.beginTm;
        }
        long& end = ends[static_cast<std::size_t>(each.coverage)];
        end = std::max(end, each.endTm);
    }
    AppendUntil(coverage, ends, reachedTm, untilTm);
    return coverage;
}

std::vector<Interval> GapsIn(std::vector<Interval> coverage, long minSec) {
    auto kept = coverage.begin();
    for (auto begin = coverage.begin(); begin != coverage.end();) {
        if (begin->coverage == Coverage::Recorded) {
            ++begin;
            continue;
        }
        const auto end = std::find_if(begin, coverage.end(), [](const Interval& each) {
            return each.coverage == Coverage::Recorded;
        });
        const long lengthSec = std::prev(end)->endTm - begin->beginTm;
        if (lengthSec >= minSec && lengthSec > kToleranceSec) {
            kept = std::move(begin, end, kept);
        }
        begin = end;
    }
    coverage.erase(kept, coverage.end());
    return coverage;
}

} // namespace recorder
