#include "tests/unit/support/platformtest.h"
#include "tests/unit/support/recordings.h"

namespace unit {
namespace {

constexpr const char* kFolder = "cam1/20140312AM/";
constexpr const char* kShown = "DIR/cam1/20140312AM/20140312-101500-1394590500.mp4";

class EventFileTest : public PlatformTest {
protected:
    EventFileTest() {
        LogUpTo(LOG_LEVEL_DETAIL);
        AddCamera(1);
    }

    std::string FileMessages() const { return platform.MessagesOf("eventindexer", "ProcessFile"); }

    void HaveRow(const std::string& name) {
        platform.queries[EventSelect(1)] = IdPathRows({{"3", "20140312AM/" + name}});
    }
};

std::string FileLog(const std::string& level, const std::string& text) {
    return Log(level, "eventindexer", "ProcessFile", text);
}

std::string Skipped(const std::string& name) {
    return Lines({FileLog("detail", "Skip file [DIR/cam1/20140312AM/" + name +
                                        "] modified after task start time.\n")});
}

TEST_F(EventFileTest, NewRecordingIsReadAndQueued) {
    const std::string path = MakeFile(std::string(kFolder) + kRecording);
    Reidx::RecInfo& info = platform.infos[path];
    info.size = 4'294'967'295;
    info.startTm = 1394590500;
    info.endTm = 1394590560;
    info.duration = 60;
    info.vdoType = 3;
    info.audType = 1;
    info.imgWidth = 1920;
    info.imgHeight = 1080;
    info.alert = true; // the platform's flag is passed on unchanged
    info.path = "20140312AM/file.mp4";

    EXPECT_EQ(RunEventIndexer(1), 1);

    EXPECT_EQ(FileMessages(),
              Lines({FileLog(
                  "detail", "Add recording [" + std::string(kShown) +
                                "] info: Size: [4294967295], Start [1394590500], End [1394590560], "
                                "Duration: [60], VdoType: [3], AdoType: [1], Resolution: "
                                "[1920x1080].\n")}));
    EXPECT_EQ(platform.LinesOf("FillEvtInfo"),
              "FillEvtInfo(event, \"20140312AM/file.mp4\", true, 0, 1, 0, 1)\n");
    EXPECT_EQ(platform.LinesOf("Execute(4, \"INSERT"),
              Lines({Query(4, "INSERT INTO event VALUES (0, 1, '20140312AM/file.mp4', 1394590500, "
                              "1394590560, 4294967295, 3, 'AAC', 1920, 1080) RETURNING id;")}));
}

TEST_F(EventFileTest, PropertiesAreReadIntoAnEmptyRecord) {
    MakeFile(std::string(kFolder) + kRecording);

    EXPECT_EQ(RunEventIndexer(1), 1);

    EXPECT_EQ(platform.LinesOf("GetEvtRecInfo"),
              "GetEvtRecInfo(info, \"DIR/cam1/20140312AM/20140312-101500-1394590500.mp4\", "
              "false)\n");
}

TEST_F(EventFileTest, FileWithARowIsKeptWithAnyNameAndTimes) {
    MakeFile(std::string(kFolder) + "odd name.txt");
    HaveRow("odd name.txt");
    libc.clock = timespec{1, 0}; // the file changed after the start

    EXPECT_EQ(RunEventIndexer(1), 0);

    EXPECT_EQ(FileMessages(), "");
    EXPECT_EQ(platform.CallCnt("DelUnrefRecsFromDB"), 0);
    EXPECT_EQ(platform.CallCnt("KRRegEx::IsMatch"), 0);
    EXPECT_EQ(platform.CallCnt("GetEvtRecInfo"), 0);
}

TEST_F(EventFileTest, FileChangedAfterTheStartIsSkipped) {
    const std::string path = MakeFile(std::string(kFolder) + kRecording);
    libc.clock = Shifted(ChangeTime(path), -1);

    EXPECT_EQ(RunEventIndexer(1), 0);

    EXPECT_EQ(FileMessages(), Skipped(kRecording));
    EXPECT_EQ(platform.CallCnt("GetEvtRecInfo"), 0);
}

TEST_F(EventFileTest, FileChangedExactlyAtTheStartIsProcessed) {
    libc.clock = ChangeTime(MakeFile(std::string(kFolder) + kRecording));
    EXPECT_EQ(RunEventIndexer(1), 1);
}

TEST_F(EventFileTest, TimeIsCheckedBeforeTheName) {
    const std::string path = MakeFile(std::string(kFolder) + "odd.txt");
    libc.clock = Shifted(ChangeTime(path), -1);

    EXPECT_EQ(RunEventIndexer(1), 0);

    EXPECT_EQ(FileMessages(), Skipped("odd.txt"));
}

TEST_F(EventFileTest, NameIsMatchedWithoutItsFolder) {
    MakeFile(std::string(kFolder) + kRecording);

    EXPECT_EQ(RunEventIndexer(1), 1);

    EXPECT_EQ(platform.LinesOf("KRRegEx"),
              Lines({
                  R"(KRRegEx(".*[0-9]{8}-[0-9]{6}-[0-9]{10}((|-LOCK)\\.(mp4|avi|mxg))$"))",
                  R"(KRRegEx::IsMatch("20140312-101500-1394590500.mp4"))",
              }));
}

class RecordingNameTest : public EventFileTest, public testing::WithParamInterface<const char*> {};

TEST_P(RecordingNameTest, IsQueued) {
    MakeFile(std::string(kFolder) + GetParam());
    EXPECT_EQ(RunEventIndexer(1), 1);
}

INSTANTIATE_TEST_SUITE_P(
    Names, RecordingNameTest,
    testing::Values("cam1-20140312-101500-1394590500.mp4", "20140312-101500-1394590500-LOCK.avi",
                    "20140312-101500-1394590500.mxg", "20140312-101500-1394590500-LOCK.mp4",
                    "no dash20140312-101500-1394590500.avi", "120140312-101500-1394590500.mp4",
                    "a\nb-20140312-101500-1394590500.mp4"));

class OtherNameTest : public EventFileTest, public testing::WithParamInterface<const char*> {};

TEST_P(OtherNameTest, IsReportedAsNotMatching) {
    MakeFile(std::string(kFolder) + GetParam());

    EXPECT_EQ(RunEventIndexer(1), 0);

    EXPECT_EQ(FileMessages(), Lines({FileLog("detail", "Event [" + std::string(GetParam()) +
                                                           "] doesn't match naming pattern.\n")}));
    EXPECT_EQ(platform.CallCnt("GetEvtRecInfo"), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Names, OtherNameTest,
    testing::Values("20140312-101500-1394590500.MP4", "20140312-101500-139459050.mp4",
                    "20140312-101500-1394590500.mkv", "20140312-101500-1394590500.mp4.tmp",
                    "2014031-101500-1394590500.mp4", "20140312-10150-1394590500.mp4",
                    "20140312-101500-13945905001.mp4", "20140312-101500-1394590500-lock.mp4",
                    "20140312-101500-1394590500-LOCK-LOCK.mp4", "20140312-101500-1394590500xmp4",
                    "20140312-101500-1394590500LOCK.mp4"));

TEST_F(EventFileTest, SecondFileOfTheSameNameIsNewIfThereIsOneRow) {
    MakeFile(std::string("cam1/20140312AM/") + kRecording);
    MakeFile(std::string("cam1/20140312PM/") + kRecording);
    HaveRow(kRecording);

    EXPECT_EQ(RunEventIndexer(1), 1);

    EXPECT_EQ(platform.LinesOf("GetEvtRecInfo"),
              "GetEvtRecInfo(info, \"DIR/cam1/20140312PM/20140312-101500-1394590500.mp4\", "
              "false)\n");
    EXPECT_EQ(platform.CallCnt("DelUnrefRecsFromDB"), 0);
}

TEST_F(EventFileTest, UnreadableRecordingIsLoggedAndQueuedWithoutProperties) {
    const std::string path = MakeFile(std::string(kFolder) + kRecording);
    platform.infos[path] = {};
    platform.Fail("GetEvtRecInfo", 1, 6);

    EXPECT_EQ(RunEventIndexer(1), 1);

    EXPECT_EQ(
        FileMessages(),
        Lines({
            FileLog("error", "Failed to get rec info of event [" + std::string(kShown) + "]\n"),
            FileLog("detail", "Add recording [" + std::string(kShown) +
                                  "] info: Size: [0], Start [0], End [0], Duration: [0], "
                                  "VdoType: [0], AdoType: [0], Resolution: [0x0].\n"),
        }));
    EXPECT_EQ(platform.LinesOf("Execute(4, \"INSERT"),
              Lines({Query(4, "INSERT INTO event VALUES (0, 1, '', 0, 0, 0, 0, '', 0, 0) "
                              "RETURNING id;")}));
}

TEST_F(EventFileTest, PatternIsCompiledForEveryFile) {
    MakeFile(std::string(kFolder) + kRecording);
    MakeFile(std::string(kFolder) + "other.txt");

    EXPECT_EQ(RunEventIndexer(1), 1);

    EXPECT_EQ(platform.CallCnt("KRRegEx"), 2);
    EXPECT_EQ(platform.CallCnt("KRRegEx::IsMatch"), 2);
}

TEST_F(EventFileTest, MessageContainsTheLow32BitsOfSizeAndTimesAndTheRowAllBits) {
    const std::string path = MakeFile(std::string(kFolder) + kRecording);
    platform.infos[path] = {
        4'294'967'296 + 7, 4'294'967'296 + 5, 2'147'483'648, 60, 3, 0, 640, 480, false,
        "20140312AM/a.mp4"};

    EXPECT_EQ(RunEventIndexer(1), 1);

    EXPECT_EQ(FileMessages(),
              Lines({FileLog("detail", "Add recording [" + std::string(kShown) +
                                           "] info: Size: [7], Start [5], End [-2147483648], "
                                           "Duration: [60], VdoType: [3], AdoType: [0], "
                                           "Resolution: [640x480].\n")}));
    EXPECT_EQ(platform.LinesOf("Execute(4, \"INSERT"),
              Lines({Query(4, "INSERT INTO event VALUES (0, 1, '20140312AM/a.mp4', 4294967301, "
                              "2147483648, 4294967303, 3, '', 640, 480) RETURNING id;")}));
}

TEST_F(EventFileTest, ReadablePropertiesOfAnUnreadableRecordingAreQueued) {
    const std::string path = MakeFile(std::string(kFolder) + kRecording);
    platform.infos[path] = {77, 1394590500, 1394590500, 0, 0, 0, 0, 0, false, "20140312AM/a.mp4"};
    platform.Fail("GetEvtRecInfo", 1, 5);

    EXPECT_EQ(RunEventIndexer(1), 1);

    EXPECT_EQ(
        FileMessages(),
        Lines({
            FileLog("error", "Failed to get rec info of event [" + std::string(kShown) + "]\n"),
            FileLog("detail", "Add recording [" + std::string(kShown) +
                                  "] info: Size: [77], Start [1394590500], End [1394590500], "
                                  "Duration: [0], VdoType: [0], AdoType: [0], Resolution: "
                                  "[0x0].\n"),
        }));
    EXPECT_EQ(platform.LinesOf("Execute(4, \"INSERT"),
              Lines({Query(4, "INSERT INTO event VALUES (0, 1, '20140312AM/a.mp4', 1394590500, "
                              "1394590500, 77, 0, '', 0, 0) RETURNING id;")}));
}

} // namespace
} // namespace unit
