#include "tests/unit/support/batches.h"
#include "tests/unit/support/platformtest.h"
#include "tests/unit/support/recordings.h"

namespace unit {
namespace {

constexpr const char* kFolder = "cam1/laRec/20140312AM/";

class AlertEventIndexerTest : public PlatformTest {
protected:
    AlertEventIndexerTest() {
        LogUpTo(LOG_LEVEL_DETAIL);
        AddCamera(1);
        MakeDir("cam1/laRec");
    }
    void SetRows(const std::vector<std::pair<fakes::Field, fakes::Field>>& rows) {
        platform.queries[AlertEventSelect(1)] = IdPathRows(rows);
    }
    void MakeRecordings(int count) {
        auto& listing = libc.listings[MakeDir("cam1/laRec/20140312AM")];
        for (int n = 1; n <= count; ++n) {
            MakeFile(kFolder + RecordingName(n));
            listing.push_back({RecordingName(n)});
        }
    }
};

std::string Own(const std::string& level, const std::string& func, const std::string& text) {
    return Log(level, "alerteventindexer", func, text);
}

std::string FoundNone() {
    return Own("detail", "RemoveUnrefRecs", "Found [0] unreferenced alert event records.\n");
}
std::string Complete() {
    return Own("detail", "Log", "Reindex alert event data of cam [1] complete.\n");
}

TEST_F(AlertEventIndexerTest, UnchangedCameraIsStillAnnounced) {
    EXPECT_EQ(RunAlertEventIndexer(1), 0);

    EXPECT_EQ(Transcript(),
              Lines({
                  "Camera::Load(1, 0, 0)",
                  "IsExistDir(\"DIR/cam1/laRec\")",
                  "GetDirsInDir(\"DIR/cam1/laRec\", list, true, false, \"^[0-9]{8}[AP]M$\")",
                  Query(4, AlertEventSelect(1)),
                  "KRDBFreeResult(result)",
                  Log("detail", "indexer", "Init",
                      "Init complete [start_time: 4000000000] [size of record: 0].\n"),
                  FoundNone(),
                  "NotifyAlertEventRefresh(0, 0, 0)",
                  "GetRecThmbnailDirPath(\"DIR/cam1/laRec\")",
                  "GetDirsInDir(\"DIR/cam1/laRec/@Thumbnail\", list, true, false, \"\")",
                  Complete(),
              }));
}

TEST_F(AlertEventIndexerTest, AddsARecordingWithItsProperties) {
    const std::string path = MakeFile(std::string(kFolder) + kRecording);
    Reidx::RecInfo& info = platform.infos[path];
    info = {9, 10, 11, 12, 3, 6, 640, 480, true, "20140312AM/file.mp4"};

    EXPECT_EQ(RunAlertEventIndexer(1), 1);

    const std::string all = platform.FullTranscript();
    const auto begin = all.find("GetAudioType");
    EXPECT_EQ(all.substr(begin, all.find("Enum2String", begin) - begin),
              Lines({
                  "GetAudioType(6)",
                  "AlertEvent::strSqlInsert()",
                  Statement(4, "INSERT INTO alert_event VALUES (0, 1, '20140312AM/file.mp4', 10, "
                               "11, 9, 0, 1, 3, 'MP3', 640, 480) RETURNING id;"),
              }));
    EXPECT_EQ(platform.LinesOf("GetEvtRecInfo"),
              "GetEvtRecInfo(info, \"DIR/cam1/laRec/20140312AM/20140312-101500-1394590500.mp4\", "
              "true)\n");
    for (const char* operation : {"FillEvtInfo", "AddRecCounts", "NotifyEventListUpdate",
                                  "DelUnrefRecsFromDB", "Event::strSqlInsert"}) {
        EXPECT_EQ(platform.CallCnt(operation), 0) << operation;
    }
}

TEST_F(AlertEventIndexerTest, AnnouncesAfterAddingAndRemovingAndThenRemovesEmptyFolders) {
    MakeFile(std::string(kFolder) + kRecording);
    MakeDir("cam1/laRec/20140312PM");
    MakeDir("cam1/laRec/@Thumbnail/empty");
    SetRows({{"5", "20140312AM/gone.mp4"}});

    EXPECT_EQ(RunAlertEventIndexer(1), 2);

    const std::string all = Transcript();
    EXPECT_EQ(
        all.substr(all.find("Execute(4, \"INSERT")),
        Lines({
            Statement(4, "INSERT INTO alert_event VALUES (0, 1, "
                         "'20140312AM/20140312-101500-1394590500.mp4', 1394590500, "
                         "1394590500, 0, 0, 1, 0, '', 0, 0) RETURNING id;"),
            Own("detail", "RemoveUnrefRecs", "Found [1] unreferenced alert event records.\n"),
            "AlertDelUnrefRecsFromDB([5], 1)",
            "NotifyAlertEventRefresh(0, 0, 0)",
            "GetRecThmbnailDirPath(\"DIR/cam1/laRec\")",
            "GetDirsInDir(\"DIR/cam1/laRec/@Thumbnail\", list, true, false, \"\")",
            "IsDirEmpty(\"DIR/cam1/laRec/20140312AM\")",
            "IsDirEmpty(\"DIR/cam1/laRec/20140312PM\")",
            Log("detail", "eventindexer", "ChkToRmEmptylDir",
                "Remove dir [DIR/cam1/laRec/20140312PM].\n"),
            "KRRm(\"DIR/cam1/laRec/20140312PM\")",
            "IsDirEmpty(\"DIR/cam1/laRec/@Thumbnail/empty\")",
            Log("detail", "eventindexer", "ChkToRmEmptylDir",
                "Remove dir [DIR/cam1/laRec/@Thumbnail/empty].\n"),
            "KRRm(\"DIR/cam1/laRec/@Thumbnail/empty\")",
            Complete(),
            Own("notice", "Log", "Have add [1] alert event DB records of cam [1].\n"),
            Own("notice", "Log", "Have removed [1] unreferenced alert event records of cam [1].\n"),
        }));
}

TEST_F(AlertEventIndexerTest, FailedInitSendsNoMessage) {
    EXPECT_EQ(RunAlertEventIndexer(0), -1);
    EXPECT_EQ(RunAlertEventIndexer(9), -1);
    EXPECT_EQ(Transcript(), Lines({
                                Log("error", "eventindexer", "Init", "Invalid cam id.\n"),
                                Log("error", "indexer", "Start", "Failed to init indexer.\n"),
                                "Camera::Load(9, 0, 0)",
                                Log("error", "eventindexer", "Init", "Failed to load camera [9]\n"),
                                Log("error", "indexer", "Start", "Failed to init indexer.\n"),
                            }));
}

TEST_F(AlertEventIndexerTest, FailedDeletionIsStillCountedAndReported) {
    const std::vector<std::pair<std::string, int>> stale = {
        {"a", 12}, {"b", 7}, {"c", 31}, {"d", 4}, {"e", 2147483647}};
    SetRows({{"12", "a"}, {"7", "b"}, {"31", "c"}, {"4", "d"}, {"2147483647", "e"}});
    platform.Fail("AlertDelUnrefRecsFromDB", 1, 3);

    EXPECT_EQ(RunAlertEventIndexer(1), 5);

    EXPECT_EQ(platform.LinesOf("AlertDelUnrefRecsFromDB"),
              "AlertDelUnrefRecsFromDB([" + Joined(IdsInMapOrder(stale), ", ") + "], 1)\n");
    EXPECT_EQ(platform.LinesOf("KRPrintf(0, reindex, error"),
              Lines({Own("error", "RemoveUnrefRecs",
                         "Failed to rotate unreference alert event records of cam [1].\n")}));
    EXPECT_EQ(platform.LinesOf("KRPrintf(0, reindex, notice"),
              Lines({Own("notice", "Log",
                         "Have removed [5] unreferenced alert event records of cam [1].\n")}));
    EXPECT_EQ(platform.CallCnt("NotifyAlertEventRefresh"), 1);
}

TEST_F(AlertEventIndexerTest, AllIdsArePassedInOneCall) {
    std::vector<std::pair<fakes::Field, fakes::Field>> rows;
    for (int id = 1; id <= 2500; ++id) {
        rows.emplace_back(std::to_string(id), RecordingName(id));
    }
    SetRows(rows);

    EXPECT_EQ(RunAlertEventIndexer(1), 2500);

    EXPECT_EQ(platform.CallCnt("AlertDelUnrefRecsFromDB"), 1);
}

class AlertEventBatchTest : public AlertEventIndexerTest,
                            public testing::WithParamInterface<Batches> {};

TEST_P(AlertEventBatchTest, ContainsUpToAThousandStatements) {
    LogUpTo(LOG_LEVEL_NOTICE);
    MakeRecordings(GetParam().files);

    EXPECT_EQ(RunAlertEventIndexer(1), GetParam().files);

    EXPECT_EQ(InsertBatches(), GetParam().statements);
}

INSTANTIATE_TEST_SUITE_P(Counts, AlertEventBatchTest, BatchesAroundALimit(), NameOf);

TEST_F(AlertEventIndexerTest, FailedBatchIsLoggedCountedAndFollowedByTheNext) {
    LogUpTo(LOG_LEVEL_NOTICE);
    MakeRecordings(1001);
    platform.Fail("Execute", 2);

    EXPECT_EQ(RunAlertEventIndexer(1), 1001);

    EXPECT_EQ(InsertBatches(), (std::vector<std::size_t>{1000, 1}));
    EXPECT_EQ(Messages(),
              Lines({
                  Own("error", "DoAddDbRecords", "Failed to add alert event records of cam [1].\n"),
                  Own("notice", "Log", "Have add [1001] alert event DB records of cam [1].\n"),
              }));
    EXPECT_EQ(platform.CallCnt("NotifyAlertEventRefresh"), 1);
}

TEST_F(AlertEventIndexerTest, RowsAreAddedToTheRecordingDatabaseWithAnyTableDescription) {
    MakeRecordings(1);
    KRIndex::AlertEventIndexer indexer({KRDB::DB_SYSTEM, "t", "i", "p"});
    indexer.m_camId = 1;

    EXPECT_EQ(indexer.Start(), 1);

    ASSERT_EQ(platform.statements.size(), 2U);
    EXPECT_EQ(platform.statements[0].db, 0);
    EXPECT_EQ(platform.statements[1].db, 4);
}

TEST_F(AlertEventIndexerTest, OrdinaryRecordingsAreIgnored) {
    MakeFile(std::string("cam1/20140312AM/") + kRecording);
    EXPECT_EQ(RunAlertEventIndexer(1), 0);
    EXPECT_EQ(platform.CallCnt("GetEvtRecInfo"), 0);
}

TEST_F(AlertEventIndexerTest, MissingFolderIsReportedWithItsPath) {
    platform.cameras[2] = MakeDir("cam2");

    EXPECT_EQ(RunAlertEventIndexer(2), 0);

    EXPECT_EQ(platform.LinesOf("KRPrintf(0, reindex, info"),
              Lines({Log("info", "eventindexer", "InitTgtDirList",
                         "Target source dir [DIR/cam2/laRec] doesn't exist.\n")}));
}

} // namespace
} // namespace unit
