#include "tools/common/terminal.h"
#include "tools/krctl/run/liveview.h"

#include <gtest/gtest.h>

namespace {

const CameraNames& Names() {
    static const CameraNames names{{3, "Front"}};
    return names;
}

recorder::LiveRun AtWork() {
    recorder::LiveRun live;
    live.run = 7;
    live.kind = "event";
    live.camId = 3;
    live.files = 12345;
    return live;
}

LiveView View() {
    return {AtWork(), {.added = 2, .removed = 1}, 0.25, 10.0};
}

TEST(LiveLine, ShowsEverythingIfThereIsRoom) {
    EXPECT_EQ(LiveLine(View(), Names(), 200),
              "recordings of camera 3 Front  12345 files  +2 -1  1234/s  25%  30.0 s left");
}

TEST(LiveLine, ShowsHowManyFilesAreBeingPrepared) {
    LiveView view = View();
    view.live.ahead = 32;

    EXPECT_EQ(
        LiveLine(view, Names(), 200),
        "recordings of camera 3 Front  12345 files  +2 -1  1234/s  32 ahead  25%  30.0 s left");
    EXPECT_EQ(LiveLine(view, Names(), 80), LiveLine(View(), Names(), 80));
}

TEST(LiveLine, OmitsTheRateFirst) {
    EXPECT_EQ(LiveLine(View(), Names(), 70),
              "recordings of camera 3 Front  12345 files  +2 -1  25%  30.0 s left");
}

TEST(LiveLine, ThenShortensTheNameOfThePart) {
    EXPECT_EQ(LiveLine(View(), Names(), 60),
              "recordings of camera …  12345 files  +2 -1  25%  30.0 s left");
}

TEST(LiveLine, ShowsTheCameraAloneUntilTheKindIsKnown) {
    LiveView view = View();
    view.live.kind.clear();

    EXPECT_EQ(LiveLine(view, Names(), 200),
              "camera 3 Front  12345 files  +2 -1  1234/s  25%  30.0 s left");
    EXPECT_EQ(LiveLine(view, Names(), 50), "camera 3 Fr…  12345 files  +2 -1  25%  30.0 s left");
}

TEST(LiveLine, FitsAnyWidth) {
    for (std::size_t columns = 1; columns < 100; ++columns) {
        EXPECT_LE(DisplayWidth(LiveLine(View(), Names(), columns)), columns);
    }
}

TEST(LiveLine, ShowsNoTimeLeftUntilItCanBeEstimated) {
    LiveView view = View();
    view.fraction = 0.01;

    EXPECT_EQ(LiveLine(view, Names(), 200),
              "recordings of camera 3 Front  12345 files  +2 -1  1234/s  1%");
}

TEST(LiveLine, EscapesTheNameOfTheCamera) {
    EXPECT_EQ(LiveLine(View(), {{3, "a\x1b[2J"}}, 200).find('\x1b'), std::string::npos);
}

TEST(Fraction, IsTheTaskStoresFractionPlusTheShareOfThePartInProgress) {
    recorder::LiveRun live = AtWork();
    live.progress = 0.5;
    live.known = 100;
    live.partFiles = 50;

    EXPECT_DOUBLE_EQ(FractionOf(live, RunShares{.jobs = 2, .cameras = 5}), 0.55);
    EXPECT_DOUBLE_EQ(FractionOf(live, std::nullopt), 0.5);
}

TEST(Fraction, OfAPartWithMoreFilesThanRowsDoesNotExceedThePart) {
    recorder::LiveRun live = AtWork();
    live.known = 1;
    live.partFiles = 50;

    EXPECT_DOUBLE_EQ(FractionOf(live, RunShares{.jobs = 2, .cameras = 5}), 0.1);
}

TEST(Shares, OfOneJobForOneCameraAreTheWhole) {
    JobOptions jobs;
    jobs.eventCamera = 3;

    EXPECT_EQ(SharesOf(jobs, {}).jobs, 1);
    EXPECT_EQ(SharesOf(jobs, {}).cameras, 1);
}

} // namespace
