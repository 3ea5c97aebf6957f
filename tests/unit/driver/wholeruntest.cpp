// Whole runs, from the command line to the end of the task. Each test states all calls of the
// platform.

#include "tests/unit/support/commandline.h"
#include "tests/unit/support/platformtest.h"
#include "tests/unit/support/recordings.h"

namespace unit {
namespace {

class WholeRunTest : public PlatformTest {
protected:
    WholeRunTest() {
        MakeMediaFolders();
        libc.now = 111;
        LogUpTo(LOG_LEVEL_DETAIL);
    }

    // Leaves out the messages of the levels from 4, which other tests check.
    void LogSummariesOnly() { LogUpTo(LOG_LEVEL_NOTICE); }
};

std::string InitComplete(int rows) {
    return Log("detail", "indexer", "Init",
               "Init complete [start_time: 4000000000] [size of record: " + std::to_string(rows) +
                   "].\n");
}

std::string Job(const std::string& func, const std::string& text) {
    return Log("notice", "krindexer", func, text);
}

std::string OfEvents(const std::string& level, const std::string& func, const std::string& text) {
    return Log(level, "eventindexer", func, text);
}

std::string Announce(const std::string& event) {
    return "NotifyEventListUpdate([" + event + "], camera 1, 0, 0, 0, 0)";
}

std::string ReadProperties(const std::string& path, bool alert) {
    return "GetEvtRecInfo(info, \"" + path + "\", " + (alert ? "true" : "false") + ")";
}

TEST_F(WholeRunTest, RecordingsOfTwoCamerasAreIndexed) {
    // Given camera 1 with a recording that has a row, a recording that has none, a row whose file
    // is missing, and empty folders; and camera 2 with one row and without its storage folder.
    AddCamera(1);
    platform.cameras[2] = Path("missing");
    MakeFile("cam1/20140312AM/" + RecordingName(11));
    MakeFile("cam1/20140312PM/" + RecordingName(12), 500);
    MakeDir("cam1/20140313AM");
    MakeDir("cam1/@Thumbnail/20140311PM");
    platform.queries[EventSelect(1)] = IdPathRows(
        {{"21", "20140312AM/" + RecordingName(11)}, {"22", "20140312AM/" + RecordingName(13)}});
    platform.queries[EventSelect(2)] = IdPathRows({{"31", "20140312AM/" + RecordingName(11)}});

    EXPECT_EQ(RunMain({"-r", "-1"}), 0);

    EXPECT_EQ(
        Transcript(),
        Lines({
            "RegTaskStart()",
            "RecordTaskStatusToConf(111, 0, false)",
            Job("DoReindexEvent", "Start to re-index event.\n"),
            "CamGetIdList(true, 0)",
            "GetTaskProgress()",
            // Camera 1
            "Camera::Load(1, 0, 0)",
            "IsExistDir(\"DIR/cam1\")",
            "GetDirsInDir(\"DIR/cam1\", list, true, false, \"^[0-9]{8}[AP]M$\")",
            Query(4, EventSelect(1)),
            "KRDBFreeResult(result)",
            InitComplete(2),
            ReadProperties("DIR/cam1/20140312PM/20140312-101500-0000000012.mp4", false),
            OfEvents("detail", "ProcessFile",
                     "Add recording [DIR/cam1/20140312PM/20140312-101500-0000000012.mp4] info: "
                     "Size: [500], Start [12], End [12], Duration: [0], VdoType: [0], AdoType: "
                     "[0], Resolution: [0x0].\n"),
            "FillEvtInfo(event, \"20140312PM/20140312-101500-0000000012.mp4\", false, 0, 1, 0, 1)",
            "Camera::Load(1, 0, 0)",
            Query(4, "INSERT INTO event VALUES (0, 1, "
                     "'20140312PM/20140312-101500-0000000012.mp4', 12, 12, 500, 0, '', 0, 0) "
                     "RETURNING id;"),
            "AddRecCounts([1 at 12], 0)",
            Announce("1001 20140312PM/20140312-101500-0000000012.mp4 stamp 1"),
            "KRDBFreeResult(result)",
            OfEvents("detail", "RemoveUnrefRecs", "Found [1] unreferenced event records.\n"),
            "DelUnrefRecsFromDB(\"22\", 0)",
            "GetRecThmbnailDirPath(\"DIR/cam1\")",
            "GetDirsInDir(\"DIR/cam1/@Thumbnail\", list, true, false, \"\")",
            "IsDirEmpty(\"DIR/cam1/20140312AM\")",
            "IsDirEmpty(\"DIR/cam1/20140312PM\")",
            "IsDirEmpty(\"DIR/cam1/20140313AM\")",
            OfEvents("detail", "ChkToRmEmptylDir", "Remove dir [DIR/cam1/20140313AM].\n"),
            "KRRm(\"DIR/cam1/20140313AM\")",
            "IsDirEmpty(\"DIR/cam1/@Thumbnail/20140311PM\")",
            OfEvents("detail", "ChkToRmEmptylDir",
                     "Remove dir [DIR/cam1/@Thumbnail/20140311PM].\n"),
            "KRRm(\"DIR/cam1/@Thumbnail/20140311PM\")",
            OfEvents("detail", "Log", "Reindex event data of cam [1] complete.\n"),
            OfEvents("notice", "Log", "Have add [1] event DB records of cam [1].\n"),
            OfEvents("notice", "Log", "Have removed [1] unreferenced event records of cam [1].\n"),
            "SetTaskProgress(0.5)",
            // Camera 2
            "Camera::Load(2, 0, 0)",
            "IsExistDir(\"DIR/missing\")",
            OfEvents("info", "InitTgtDirList", "Target source dir [DIR/missing] doesn't exist.\n"),
            Query(4, EventSelect(2)),
            "KRDBFreeResult(result)",
            InitComplete(1),
            OfEvents("detail", "RemoveUnrefRecs", "Found [1] unreferenced event records.\n"),
            "DelUnrefRecsFromDB(\"31\", 0)",
            "GetRecThmbnailDirPath(\"DIR/missing\")",
            "GetDirsInDir(\"DIR/missing/@Thumbnail\", list, true, false, \"\")",
            OfEvents("detail", "Log", "Reindex event data of cam [2] complete.\n"),
            OfEvents("notice", "Log", "Have removed [1] unreferenced event records of cam [2].\n"),
            "SetTaskProgress(1)",
            // All cameras
            "RmEvtOfInvalidCamId()",
            "Recount()",
            Job("DoReindexEvent", "Re-index event complete with re-indexed record cnt [3].\n"),
            "RecordTaskStatusToConf(111, 3, true)",
            "RegTaskDone()",
        }));
    EXPECT_EQ(platform.LiveResultCnt(), 0U);
    EXPECT_EQ(libc.openDirCnt, 0);
}

TEST_F(WholeRunTest, AllFourJobsRunInOrder) {
    // Given a row without a file of each kind, and a file without a row of each kind except e-maps.
    AddCamera(1);
    MakeDir("cam1/laRec");
    MakeFile("cam1/20140312AM/" + RecordingName(11));
    MakeFile("cam1/laRec/20140312AM/" + RecordingName(12));
    MakeFile("snap/cam1-20240101-1704067200.jpg");
    MakeFile("emap/new.png");
    for (const std::string& select : {std::string(kEmapSelect), std::string(kSnapshotSelect),
                                      EventSelect(1), AlertEventSelect(1)}) {
        platform.queries[select] = IdPathRows({{"21", "gone"}});
    }
    LogSummariesOnly();
    platform.queries[kSnapshotSelect].fields.push_back({"22", "cam1-20240101-1704067200.jpg"});

    EXPECT_EQ(RunMain({"-a", "-1", "-r", "1", "-s", "-e"}), 0);

    EXPECT_EQ(
        Transcript(),
        Lines({
            "RegTaskStart()",
            "RecordTaskStatusToConf(111, 0, false)",
            // E-maps
            Job("DoReindexEmap", "Start to re-index emap.\n"),
            Query(0, kEmapSelect),
            "KRDBFreeResult(result)",
            Statement(0, "DELETE FROM emap WHERE id IN (21);"),
            Log("notice", "emapindexer", "Log", "Have removed [1] unreferenced emap records.\n"),
            Job("DoReindexEmap", "Re-index emap complete with re-indexed record cnt [1].\n"),
            "SetTaskProgress(0.25)",
            // Snapshots
            Job("DoReindexSnapshot", "Start to re-index snapshot.\n"),
            "GetSnapshotFullPath()",
            Query(8, kSnapshotSelect),
            "KRDBFreeResult(result)",
            "GetSnapshotFullPath()",
            Statement(8, "DELETE FROM snapshot WHERE id IN (21);"),
            Log("notice", "snapshotindexer", "Log",
                "Have removed [1] unreferenced snapshot records.\n"),
            Job("DoReindexSnapshot",
                "Re-index snapshot complete with re-indexed record cnt [1].\n"),
            "SetTaskProgress(0.5)",
            // Recordings
            Job("DoReindexEvent", "Start to re-index event.\n"),
            "GetTaskProgress()",
            "Camera::Load(1, 0, 0)",
            "IsExistDir(\"DIR/cam1\")",
            "GetDirsInDir(\"DIR/cam1\", list, true, false, \"^[0-9]{8}[AP]M$\")",
            Query(4, EventSelect(1)),
            "KRDBFreeResult(result)",
            ReadProperties("DIR/cam1/20140312AM/20140312-101500-0000000011.mp4", false),
            "FillEvtInfo(event, \"20140312AM/20140312-101500-0000000011.mp4\", false, 0, 1, 0, 1)",
            "Camera::Load(1, 0, 0)",
            Query(4, "INSERT INTO event VALUES (0, 1, "
                     "'20140312AM/20140312-101500-0000000011.mp4', 11, 11, 0, 0, '', 0, 0) "
                     "RETURNING id;"),
            "AddRecCounts([1 at 11], 0)",
            Announce("1001 20140312AM/20140312-101500-0000000011.mp4 stamp 1"),
            "KRDBFreeResult(result)",
            "DelUnrefRecsFromDB(\"21\", 0)",
            "GetRecThmbnailDirPath(\"DIR/cam1\")",
            "GetDirsInDir(\"DIR/cam1/@Thumbnail\", list, true, false, \"\")",
            "IsDirEmpty(\"DIR/cam1/20140312AM\")",
            OfEvents("notice", "Log", "Have add [1] event DB records of cam [1].\n"),
            OfEvents("notice", "Log", "Have removed [1] unreferenced event records of cam [1].\n"),
            "SetTaskProgress(0.75)",
            "RmEvtOfInvalidCamId()",
            "Recount()",
            Job("DoReindexEvent", "Re-index event complete with re-indexed record cnt [2].\n"),
            // Alert recordings
            Job("DoReindexAlertEvent", "Start to re-index alert event.\n"),
            "GetTaskProgress()",
            "Camera::Load(1, 0, 0)",
            "IsExistDir(\"DIR/cam1/laRec\")",
            "GetDirsInDir(\"DIR/cam1/laRec\", list, true, false, \"^[0-9]{8}[AP]M$\")",
            Query(4, AlertEventSelect(1)),
            "KRDBFreeResult(result)",
            ReadProperties("DIR/cam1/laRec/20140312AM/20140312-101500-0000000012.mp4", true),
            Statement(4, "INSERT INTO alert_event VALUES (0, 1, "
                         "'20140312AM/20140312-101500-0000000012.mp4', 12, 12, 0, 0, 1, 0, '', 0, "
                         "0) RETURNING id;"),
            "AlertDelUnrefRecsFromDB([21], 1)",
            "NotifyAlertEventRefresh(0, 0, 0)",
            "GetRecThmbnailDirPath(\"DIR/cam1/laRec\")",
            "GetDirsInDir(\"DIR/cam1/laRec/@Thumbnail\", list, true, false, \"\")",
            "IsDirEmpty(\"DIR/cam1/laRec/20140312AM\")",
            Log("notice", "alerteventindexer", "Log",
                "Have add [1] alert event DB records of cam [1].\n"),
            Log("notice", "alerteventindexer", "Log",
                "Have removed [1] unreferenced alert event records of cam [1].\n"),
            "SetTaskProgress(1)",
            Job("DoReindexAlertEvent",
                "Re-index alert event complete with re-indexed record cnt [2].\n"),
            // End
            "RecordTaskStatusToConf(111, 2, true)",
            "RegTaskDone()",
        }));
}

TEST_F(WholeRunTest, RecordingsAreIndexedWithoutRegistration) {
    LogSummariesOnly();
    platform.cameras[1] = Path("missing");

    EXPECT_EQ(RunMain({"-o", "-r", "-1"}), 0);

    EXPECT_EQ(Transcript(), Lines({
                                "RecordTaskStatusToConf(111, 0, false)",
                                Job("DoReindexEvent", "Start to re-index event.\n"),
                                "CamGetIdList(true, 0)",
                                "Camera::Load(1, 0, 0)",
                                "IsExistDir(\"DIR/missing\")",
                                Query(4, EventSelect(1)),
                                "KRDBFreeResult(result)",
                                "GetRecThmbnailDirPath(\"DIR/missing\")",
                                "GetDirsInDir(\"DIR/missing/@Thumbnail\", list, true, false, \"\")",
                                "RmEvtOfInvalidCamId()",
                                "Recount()",
                                Job("DoReindexEvent",
                                    "Re-index event complete with re-indexed record cnt [0].\n"),
                                "RecordTaskStatusToConf(111, 0, true)",
                            }));
}

TEST_F(WholeRunTest, JobGivenTwiceRunsOnce) {
    LogSummariesOnly();

    EXPECT_EQ(RunMain({"-e", "-e"}), 0);

    EXPECT_EQ(Transcript(),
              Lines({
                  "RegTaskStart()",
                  "RecordTaskStatusToConf(111, 0, false)",
                  Job("DoReindexEmap", "Start to re-index emap.\n"),
                  Query(0, kEmapSelect),
                  "KRDBFreeResult(result)",
                  Job("DoReindexEmap", "Re-index emap complete with re-indexed record cnt [0].\n"),
                  "SetTaskProgress(0.5)",
                  "RecordTaskStatusToConf(111, 0, true)",
                  "RegTaskDone()",
              }));
}

TEST_F(WholeRunTest, FailingIndexersDoNotStopTheOthers) {
    // Given an e-map table that can't be read, camera 1 that can't be loaded, and camera 2 with a
    // row whose file is missing.
    LogSummariesOnly();
    platform.cameraIds = {{1, 2}};
    platform.cameras[2] = Path("missing");
    platform.queries[EventSelect(2)] = IdPathRows({{"31", "gone"}});
    platform.Fail("Execute");

    EXPECT_EQ(RunMain({"-e", "-r", "-1"}), 0);

    EXPECT_EQ(
        Transcript(),
        Lines({
            "RegTaskStart()",
            "RecordTaskStatusToConf(111, 0, false)",
            Job("DoReindexEmap", "Start to re-index emap.\n"),
            Query(0, kEmapSelect),
            Log("error", "indexer", "InitFileRecIdMap", "Failed to init file-recordId map.\n"),
            Log("error", "indexer", "Start", "Failed to init indexer.\n"),
            Log("error", "krreindex", "ReindexEmap", "Failed to re-index emap.\n"),
            Job("DoReindexEmap", "Re-index emap complete with re-indexed record cnt [-1].\n"),
            "SetTaskProgress(0.5)",
            Job("DoReindexEvent", "Start to re-index event.\n"),
            "CamGetIdList(true, 0)",
            "GetTaskProgress()",
            "Camera::Load(1, 0, 0)",
            OfEvents("error", "Init", "Failed to load camera [1]\n"),
            Log("error", "indexer", "Start", "Failed to init indexer.\n"),
            Log("error", "krreindex", "ReindexEvent", "Failed to reindex event of cam [1].\n"),
            "SetTaskProgress(0.75)",
            "Camera::Load(2, 0, 0)",
            "IsExistDir(\"DIR/missing\")",
            Query(4, EventSelect(2)),
            "KRDBFreeResult(result)",
            "DelUnrefRecsFromDB(\"31\", 0)",
            "GetRecThmbnailDirPath(\"DIR/missing\")",
            "GetDirsInDir(\"DIR/missing/@Thumbnail\", list, true, false, \"\")",
            OfEvents("notice", "Log", "Have removed [1] unreferenced event records of cam [2].\n"),
            "SetTaskProgress(1)",
            "RmEvtOfInvalidCamId()",
            "Recount()",
            Job("DoReindexEvent", "Re-index event complete with re-indexed record cnt [1].\n"),
            "RecordTaskStatusToConf(111, 1, true)",
            "RegTaskDone()",
        }));
}

} // namespace
} // namespace unit
