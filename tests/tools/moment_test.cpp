#include "tools/common/moment.h"

#include "recorder/support/error.h"
#include "tests/tools/timezone.h"
#include "tools/common/texts.h"

#include <gtest/gtest.h>

namespace {

constexpr long kNow = 1800000000;

class Moment : public testing::Test {
protected:
    static long Since(const std::string& text) { return ParseMoment(text, Bound::Since, kNow); }
    static long Until(const std::string& text) { return ParseMoment(text, Bound::Until, kNow); }
    static std::string SinceUtc(const std::string& text) {
        return UtcTimeText(Since(text)).value_or("none");
    }
    static std::string UntilUtc(const std::string& text) {
        return UtcTimeText(Until(text)).value_or("none");
    }

private:
    const TimeZone m_zone{"CET-1CEST,M3.5.0,M10.5.0/3"};
};

TEST_F(Moment, IsThisLongAgo) {
    EXPECT_EQ(Since("45s"), kNow - 45);
    EXPECT_EQ(Since("90m"), kNow - 90L * 60);
    EXPECT_EQ(Since("12h"), kNow - 12L * 3600);
    EXPECT_EQ(Since("30d"), kNow - 30L * 86400);
    EXPECT_EQ(Since("2w"), kNow - 14L * 86400);
    EXPECT_EQ(Since("0d"), kNow);
}

TEST_F(Moment, OfADateIsItsBeginningInLocalTime) {
    EXPECT_EQ(SinceUtc("2026-11-01"), "2026-10-31T23:00:00Z");
    EXPECT_EQ(UntilUtc("2026-07-01"), "2026-06-30T22:00:00Z");
}

TEST_F(Moment, WithoutAnOffsetIsInLocalTime) {
    EXPECT_EQ(SinceUtc("2026-11-01T12:30"), "2026-11-01T11:30:00Z");
    EXPECT_EQ(SinceUtc("2026-11-01 12:30:15"), "2026-11-01T11:30:15Z");
}

TEST_F(Moment, WithAnOffsetIsExact) {
    EXPECT_EQ(SinceUtc("2026-11-01T12:30:15Z"), "2026-11-01T12:30:15Z");
    EXPECT_EQ(SinceUtc("2026-11-01T12:30:15.987+05:30"), "2026-11-01T07:00:15Z");
    EXPECT_EQ(SinceUtc("2026-11-01t12:30:15-08:00"), "2026-11-01T20:30:15Z");
}

TEST_F(Moment, AsTimeTextShowsItIsTheSameMoment) {
    EXPECT_EQ(Since(TimeText(kNow)), kNow);
}

TEST_F(Moment, OfALocalTimeThatDoesNotExistIsTheChangeOfTheClocks) {
    for (const char* const text : {"2026-03-29T02:00", "2026-03-29T02:30", "2026-03-29T02:59:59"}) {
        EXPECT_EQ(SinceUtc(text), "2026-03-29T01:00:00Z") << text;
        EXPECT_EQ(UntilUtc(text), "2026-03-29T01:00:00Z") << text;
    }
    EXPECT_EQ(SinceUtc("2026-03-29T01:59:59"), "2026-03-29T00:59:59Z");
    EXPECT_EQ(SinceUtc("2026-03-29T03:00"), "2026-03-29T01:00:00Z");
}

TEST_F(Moment, OfALocalTimeThatExistsTwiceIncludesTheWholeHour) {
    EXPECT_EQ(SinceUtc("2026-10-25T02:30"), "2026-10-25T00:30:00Z");
    EXPECT_EQ(UntilUtc("2026-10-25T02:30"), "2026-10-25T01:30:00Z");
    EXPECT_EQ(UntilUtc("2026-10-25T02:30+02:00"), "2026-10-25T00:30:00Z");
    EXPECT_EQ(UntilUtc("2026-10-25T01:59:59"), "2026-10-24T23:59:59Z");
    EXPECT_EQ(SinceUtc("2026-10-25T03:00"), "2026-10-25T02:00:00Z");
}

TEST(MomentInOtherZones, OfADayWithoutMidnightIsItsFirstMoment) {
    const TimeZone zone("<-03>3<-02>,M11.1.0/0,M2.3.0/0");

    EXPECT_EQ(ParseMoment("2018-11-04", Bound::Since, kNow),
              ParseMoment("2018-11-04T03:00:00Z", Bound::Since, kNow));
}

TEST(MomentInOtherZones, OfAHalfHourChangeIsExact) {
    const TimeZone zone("<+1030>-10:30<+11>-11,M10.1.0,M4.1.0");

    EXPECT_EQ(ParseMoment("2026-04-05T01:45", Bound::Since, kNow),
              ParseMoment("2026-04-05T01:45:00+11:00", Bound::Since, kNow));
    EXPECT_EQ(ParseMoment("2026-04-05T01:45", Bound::Until, kNow),
              ParseMoment("2026-04-05T01:45:00+10:30", Bound::Until, kNow));
}

TEST_F(Moment, OfAnyOtherTextIsRefused) {
    for (const char* const text : {"",
                                   "d",
                                   "30",
                                   "-1d",
                                   "+1d",
                                   "1.5d",
                                   "30 d",
                                   "30days",
                                   "9999999999d",
                                   "2026",
                                   "2026-11",
                                   "2026-13-01",
                                   "2026-00-01",
                                   "2026-02-29",
                                   "2026-11-31",
                                   "2026-11-1",
                                   "26-11-01",
                                   "2026-11-01T",
                                   "2026-11-01T24:00",
                                   "2026-11-01T12",
                                   "2026-11-01T12:60",
                                   "2026-11-01T12:30:61",
                                   "2026-11-01T12:30:15.",
                                   "2026-11-01Z",
                                   "2026-11-01T12:30+1",
                                   "2026-11-01T12:30+0100",
                                   "2026-11-01T12:30+24:00",
                                   "2026-11-01T12:30Zx",
                                   " 2026-11-01",
                                   "2026-11-01 ",
                                   "yesterday"}) {
        EXPECT_THROW((void)Since(text), recorder::Error) << text;
    }
}

} // namespace
