#include "tools/krctl/run/liveview.h"

#include <gtest/gtest.h>

namespace {

LiveView AtWorkOn(const std::string& kind) {
    LiveView view;
    view.live.run = 7;
    view.live.kind = kind;
    view.live.camId = 3;
    return view;
}

// Standard error is a file here, not a terminal.
TEST(ProgressDisplay, WithoutATerminalPrintsALineForEachPartOnceItsKindIsKnown) {
    ProgressDisplay display(true);
    testing::internal::CaptureStderr();

    display.Show(AtWorkOn(""));
    display.Show(AtWorkOn("event"));
    display.Show(AtWorkOn("event"));
    display.Show(AtWorkOn(""));
    display.Show(AtWorkOn("alert_event"));

    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "recordings of camera 3  0 files  +0 -0  0%\n"
              "alert recordings of camera 3  0 files  +0 -0  0%\n");
}

} // namespace
