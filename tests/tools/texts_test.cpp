#include "tools/common/texts.h"

#include "tests/tools/timezone.h"

#include <climits>

#include <gtest/gtest.h>

namespace {

TEST(DurationText, IsInSecondsMinutesOrHours) {
    EXPECT_EQ(DurationText(0.04), "0.0 s");
    EXPECT_EQ(DurationText(7.34), "7.3 s");
    EXPECT_EQ(DurationText(725.9), "12:05");
    EXPECT_EQ(DurationText(11525), "3:12:05");
}

TEST(TimeText, IsLocalWithAnOffsetForPeopleAndInUtcForPrograms) {
    const TimeZone zone("EST5EDT,M3.2.0,M11.1.0");

    EXPECT_EQ(TimeText(1795000000), "2026-11-18T06:06:40-05:00");
    EXPECT_EQ(TimeText(1780000000), "2026-05-28T16:26:40-04:00");
    EXPECT_EQ(UtcTimeText(1795000000), "2026-11-18T11:06:40Z");
}

TEST(TimeText, IsNotADateIfTheYearHasNoFourDigits) {
    EXPECT_EQ(TimeText(LONG_MAX), "@9223372036854775807");
    EXPECT_EQ(TimeText(300000000000), "@300000000000");
    EXPECT_EQ(UtcTimeText(LONG_MAX), std::nullopt);
    EXPECT_EQ(UtcTimeText(300000000000), std::nullopt);
    EXPECT_EQ(UtcTimeText(-1), "1969-12-31T23:59:59Z");
}

TEST(CameraText, HasTheIdAndTheNameIfKnown) {
    const CameraNames names{{3, "Front"}};

    EXPECT_EQ(CameraText(names, 3), "3 Front");
    EXPECT_EQ(CameraText(names, 4), "4");
    EXPECT_EQ(CameraText(names, 0), "-");
}

TEST(KindKey, IsForOptionsAndJsonAndKindTextIsForPeople) {
    EXPECT_EQ(KindKey("event"), "recordings");
    EXPECT_EQ(KindText("event"), "recordings");
    EXPECT_EQ(KindKey("alert_event"), "alert-recordings");
    EXPECT_EQ(KindText("alert_event"), "alert recordings");
    EXPECT_EQ(KindKey("snapshot"), "snapshots");
    EXPECT_EQ(KindText("snapshot"), "snapshots");
    EXPECT_EQ(KindKey("emap"), "e-maps");
    EXPECT_EQ(KindText("emap"), "e-maps");
}

TEST(KindKey, IsEmptyForAnUnknownKind) {
    EXPECT_EQ(KindKey(""), "");
    EXPECT_EQ(KindText(""), "-");
}

TEST(Counted, UsesThePluralExceptForOne) {
    EXPECT_EQ(Counted(1, "row"), "1 row");
    EXPECT_EQ(Counted(0, "row"), "0 rows");
}

TEST(PartText, HasTheKindAndTheCameraIfKnown) {
    EXPECT_EQ(PartText("event", "3 Front"), "recordings of camera 3 Front");
    EXPECT_EQ(PartText("", "3 Front"), "camera 3 Front");
    EXPECT_EQ(PartText("snapshot", ""), "snapshots");
    EXPECT_EQ(PartText("", ""), "-");
}

} // namespace
