// The progress of a run, to the last bit.

#include "tests/unit/support/commandline.h"
#include "tests/unit/support/platformtest.h"

namespace unit {
namespace {

using Values = std::vector<double>;

class ProgressTest : public PlatformTest {
protected:
    ProgressTest() {
        MakeMediaFolders();
        LogUpTo(LOG_LEVEL_ERROR);
    }
    void AddCameras(int count) {
        for (int id = 1; id <= count; ++id) {
            AddCamera(id);
        }
    }
    Values ProgressOf(const std::vector<std::string>& args) {
        EXPECT_EQ(RunMain(args), 0);
        return platform.progressValues;
    }
};

TEST_F(ProgressTest, OneJobEndsAtOne) {
    EXPECT_EQ(ProgressOf({"-e"}), (Values{1.0}));
}

TEST_F(ProgressTest, WholeStepJobsSetAbsoluteValues) {
    EXPECT_EQ(ProgressOf({"-s", "-e"}), (Values{0.5, 1.0}));
}

TEST_F(ProgressTest, JobGivenTwiceRunsOnceAndEndsAtAHalf) {
    EXPECT_EQ(ProgressOf({"-e", "-e"}), (Values{0.5}));
    EXPECT_EQ(platform.LinesOf("Execute"), Lines({Query(0, kEmapSelect)}));
}

TEST_F(ProgressTest, EmapJobTakesHalfAndThreeCamerasASixthEach) {
    AddCameras(3);
    EXPECT_EQ(ProgressOf({"-e", "-r", "-1"}),
              (Values{0.5, 0x1.5555555555555p-1, 0x1.aaaaaaaaaaaaap-1, 0x1.fffffffffffffp-1}));
}

TEST_F(ProgressTest, ShareIsDividedByTheCamerasBeforeTheJobs) {
    AddCameras(9);

    EXPECT_EQ(ProgressOf({"-r", "-1", "-r", "-1", "-r", "-1", "-r", "-1", "-r", "-1"}),
              (Values{0x1.6c16c16c16c16p-6, 0x1.6c16c16c16c16p-5, 0x1.1111111111110p-4,
                      0x1.6c16c16c16c16p-4, 0x1.c71c71c71c71cp-4, 0x1.1111111111111p-3,
                      0x1.3e93e93e93e94p-3, 0x1.6c16c16c16c17p-3, 0x1.999999999999ap-3}));
}

TEST_F(ProgressTest, AlertRecordingsContinueTheProgressOfRecordings) {
    AddCameras(2);
    EXPECT_EQ(ProgressOf({"-r", "-1", "-a", "-1"}), (Values{0.25, 0.5, 0.75, 1.0}));
}

TEST_F(ProgressTest, AllJobsEndAtOne) {
    AddCameras(2);
    EXPECT_EQ(ProgressOf({"-a", "-1", "-r", "-1", "-s", "-e"}),
              (Values{0.25, 0.5, 0.625, 0.75, 0.875, 1.0}));
}

TEST_F(ProgressTest, RecordingJobWithoutCamerasLeavesTheProgressUnchanged) {
    EXPECT_EQ(ProgressOf({"-r", "-1"}), (Values{}));
}

TEST_F(ProgressTest, FailedCamerasAdvanceTheProgress) {
    AddCameras(2);
    platform.FailAlways("Camera::Load");
    EXPECT_EQ(ProgressOf({"-r", "-1", "-a", "-1"}), (Values{0.25, 0.5, 0.75, 1.0}));
}

TEST_F(ProgressTest, UnregisteredRecordingJobNeitherReadsNorSetsTheProgress) {
    AddCameras(2);
    EXPECT_EQ(ProgressOf({"-o", "-r", "-1"}), (Values{}));
    EXPECT_EQ(platform.CallCnt("GetTaskProgress"), 0);
}

TEST_F(ProgressTest, OtherUnregisteredJobsSetTheProgress) {
    AddCameras(2);
    platform.progress = 0.25; // the progress of the last run
    EXPECT_EQ(ProgressOf({"-o", "-a", "-1"}), (Values{0.75, 1.25}));
    platform.progressValues.clear();
    EXPECT_EQ(ProgressOf({"-o", "-s", "-e"}), (Values{0.5, 1.0}));
}

TEST_F(ProgressTest, ProgressIsReadOnceAndKept) {
    AddCameras(2);
    platform.beforeCall = [this](std::string_view operation) {
        if (operation == "Camera::Load") {
            platform.progress = 0.9; // set by another process
        }
    };

    EXPECT_EQ(ProgressOf({"-r", "-1"}), (Values{0.5, 1.0}));

    EXPECT_EQ(platform.CallCnt("GetTaskProgress"), 1);
}

} // namespace
} // namespace unit
