#include "recorder/coverage/coverage.h"

#include <gmock/gmock.h>

namespace {

using recorder::Coverage;
using recorder::CoverageOf;
using recorder::EstimateLengths;
using recorder::GapsIn;
using recorder::Interval;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Coverage, OfNothingIsNotRecorded) {
    EXPECT_THAT(CoverageOf({}, 100, 200), ElementsAre(Interval{100, 200, Coverage::NotRecorded}));
}

TEST(Coverage, OverlappingRecordingsAreOneStretch) {
    EXPECT_THAT(CoverageOf({{100, 180}, {110, 120}, {150, 200}}, 100, 200),
                ElementsAre(Interval{100, 200, Coverage::Recorded}));
}

TEST(Coverage, IsCutAtTheBordersOfTheTime) {
    EXPECT_THAT(CoverageOf({{-50, 110}, {190, 900}, {203, 210}, {950, 990}}, 100, 200),
                ElementsAre(Interval{100, 110, Coverage::Recorded},
                            Interval{110, 190, Coverage::NotRecorded},
                            Interval{190, 200, Coverage::Recorded}));
}

TEST(Coverage, OfAFileCountsBeforeThatOfARowWithoutFile) {
    EXPECT_THAT(
        CoverageOf({{100, 160, Coverage::Removed},
                    {120, 140, Coverage::NotIndexed},
                    {150, 155, Coverage::Damaged}},
                   100, 200),
        ElementsAre(Interval{100, 120, Coverage::Removed}, Interval{120, 140, Coverage::NotIndexed},
                    Interval{140, 150, Coverage::Removed}, Interval{150, 155, Coverage::Damaged},
                    Interval{155, 160, Coverage::Removed},
                    Interval{160, 200, Coverage::NotRecorded}));
}

TEST(Coverage, IsNotCalledRemovedWhereItIsUnknown) {
    EXPECT_THAT(
        CoverageOf({{100, 200, Coverage::Unknown}, {120, 140, Coverage::Removed}}, 100, 200),
        ElementsAre(Interval{100, 200, Coverage::Unknown}));
}

TEST(Coverage, UnknownLengthEndsAtTheNextBeginningOrIsThatOfTheLongestRecording) {
    std::vector<Interval> intervals{{100, 130},
                                    {140, 140, Coverage::Damaged},
                                    {140, 20, Coverage::Damaged},
                                    {150, 160},
                                    {170, 0, Coverage::Damaged}};
    EstimateLengths(intervals);
    EXPECT_EQ(intervals[1].endTm, 150);
    EXPECT_EQ(intervals[2].endTm, 150);
    EXPECT_EQ(intervals[4].endTm, 200);
}

TEST(Coverage, GapsAreStretchesOfAtLeastTheLength) {
    const std::vector<Interval> coverage{{100, 110, Coverage::Recorded},
                                         {110, 140, Coverage::Removed},
                                         {140, 170, Coverage::NotRecorded},
                                         {170, 180, Coverage::Recorded},
                                         {180, 239, Coverage::NotRecorded}};
    EXPECT_THAT(GapsIn(coverage, 60), ElementsAre(coverage[1], coverage[2]));
    EXPECT_THAT(GapsIn(coverage, 61), IsEmpty());
}

TEST(Coverage, OneSecondIsNoGap) {
    EXPECT_THAT(GapsIn(CoverageOf({{100, 150}, {151, 200}}, 100, 200), 0), IsEmpty());
    EXPECT_THAT(GapsIn(CoverageOf({{100, 150}, {152, 200}}, 100, 200), 0),
                ElementsAre(Interval{150, 152, Coverage::NotRecorded}));
}

} // namespace
