#include "tools/common/texts.h"

#include <gtest/gtest.h>

namespace {

TEST(DurationText, IsInSecondsMinutesOrHours) {
    EXPECT_EQ(DurationText(0.04), "0.0 s");
    EXPECT_EQ(DurationText(7.34), "7.3 s");
    EXPECT_EQ(DurationText(725.9), "12:05");
    EXPECT_EQ(DurationText(11525), "3:12:05");
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
