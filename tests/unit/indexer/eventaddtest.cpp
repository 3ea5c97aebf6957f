#include "tests/unit/support/batches.h"
#include "tests/unit/support/platformtest.h"
#include "tests/unit/support/recordings.h"

#include <string_view>

namespace unit {
namespace {

class EventAddTest : public PlatformTest {
protected:
    EventAddTest() {
        LogUpTo(LOG_LEVEL_NOTICE);
        AddCamera(1);
    }

    // Creates recordings with the names 1 to `count`, which are walked in that order.
    void MakeRecordings(int count) {
        auto& listing = libc.listings[MakeDir("cam1/20140312AM")];
        for (int n = 1; n <= count; ++n) {
            MakeFile("cam1/20140312AM/" + RecordingName(n));
            listing.push_back({RecordingName(n)});
        }
    }

    static std::string Insert(int n) {
        return "INSERT INTO event VALUES (0, 1, '20140312AM/" + RecordingName(n) + "', " +
               std::to_string(n) + ", " + std::to_string(n) + ", 0, 0, '', 0, 0) RETURNING id;";
    }

    // The transcript's lines of adding recordings.
    std::string Added() const {
        const std::string all = Transcript();
        const auto begin = all.find("FillEvtInfo");
        const auto end = all.find("GetRecThmbnailDirPath");
        return begin == std::string::npos ? "" : all.substr(begin, end - begin);
    }
};

std::string Summary() {
    return Log("notice", "eventindexer", "Log", "Have add [2] event DB records of cam [1].\n");
}

std::string Fill(int n) {
    return "FillEvtInfo(event, \"20140312AM/" + RecordingName(n) + "\", false, 0, 1, 0, 1)";
}

TEST_F(EventAddTest, WritesCountsAndAnnouncesABatch) {
    MakeRecordings(2);
    platform.stamp = 76;

    EXPECT_EQ(RunEventIndexer(1), 2);

    EXPECT_EQ(Added(), Lines({
                           Fill(1),
                           Fill(2),
                           "Camera::Load(1, 0, 0)",
                           Query(4, Insert(1) + Insert(2)),
                           "AddRecCounts([1 at 1, 1 at 2], 0)",
                           "NotifyEventListUpdate([1001 20140312AM/" + RecordingName(1) +
                               " stamp 77, 1002 20140312AM/" + RecordingName(2) +
                               " stamp 77], camera 1, 0, 0, 0, 0)",
                           "KRDBFreeResult(result)",
                       }));
    EXPECT_EQ(Messages(), Lines({Summary()}));
    EXPECT_EQ(platform.LiveResultCnt(), 0U);
}

TEST_F(EventAddTest, WithoutNewRecordingsNothingIsAdded) {
    EXPECT_EQ(RunEventIndexer(1), 0);

    EXPECT_EQ(Transcript(), Lines({
                                "Camera::Load(1, 0, 0)",
                                "IsExistDir(\"DIR/cam1\")",
                                R"(GetDirsInDir("DIR/cam1", list, true, false, "^[0-9]{8}[AP]M$"))",
                                Query(4, EventSelect(1)),
                                "KRDBFreeResult(result)",
                                "GetRecThmbnailDirPath(\"DIR/cam1\")",
                                "GetDirsInDir(\"DIR/cam1/@Thumbnail\", list, true, false, \"\")",
                            }));
}

TEST_F(EventAddTest, BatchIsDroppedIfTheCameraNoLongerLoads) {
    MakeRecordings(2);
    platform.Fail("Camera::Load", 2);

    EXPECT_EQ(RunEventIndexer(1), 2);

    EXPECT_EQ(Added(),
              Lines({
                  Fill(1),
                  Fill(2),
                  "Camera::Load(1, 0, 0)",
                  Log("error", "eventindexer", "DoAddDbRecords", "Failed to load cam [1].\n"),
              }));
    EXPECT_EQ(platform.LinesOf(Summary()), Summary() + "\n");
}

TEST_F(EventAddTest, FailedInsertDropsTheBatchButIsCountedAsAdded) {
    MakeRecordings(2);
    platform.Fail("Execute", 2, 1);

    EXPECT_EQ(RunEventIndexer(1), 2);

    EXPECT_EQ(Added(), Lines({
                           Fill(1),
                           Fill(2),
                           "Camera::Load(1, 0, 0)",
                           Query(4, Insert(1) + Insert(2)),
                           Log("error", "eventindexer", "DoAddDbRecords",
                               "Failed to add event records of cam [1].\n"),
                       }));
    EXPECT_EQ(platform.LinesOf(Summary()), Summary() + "\n");
}

TEST_F(EventAddTest, ResultOfAFailedInsertIsNotFreed) {
    MakeRecordings(1);
    platform.resultDespiteFailure = true;
    platform.Fail("Execute", 2);

    EXPECT_EQ(RunEventIndexer(1), 1);

    EXPECT_EQ(platform.LiveResultCnt(), 1U);
    EXPECT_EQ(platform.CallCnt("KRDBFreeResult"), 1); // the result that fills the map
}

TEST_F(EventAddTest, FailedCountUpdateIsLoggedAndTheEventsAreStillAnnounced) {
    MakeRecordings(1);
    platform.Fail("AddRecCounts", 1, 2);

    EXPECT_EQ(RunEventIndexer(1), 1);

    EXPECT_EQ(Added(), Lines({
                           Fill(1),
                           "Camera::Load(1, 0, 0)",
                           Query(4, Insert(1)),
                           "AddRecCounts([1 at 1], 0)",
                           Log("error", "eventindexer", "DoAddDbRecords",
                               "Failed to update recording count of cam [1].\n"),
                           "NotifyEventListUpdate([1001 20140312AM/" + RecordingName(1) +
                               " stamp 0], camera 1, 0, 0, 0, 0)",
                           "KRDBFreeResult(result)",
                       }));
}

TEST_F(EventAddTest, EventWhoseIdIsNullOrWhoseRowIsMissingGetsTheIdZero) {
    MakeRecordings(3);
    platform.insertResults = {IdRows({"55", std::nullopt})};

    EXPECT_EQ(RunEventIndexer(1), 3);

    EXPECT_EQ(platform.LinesOf("NotifyEventListUpdate"),
              "NotifyEventListUpdate([55 20140312AM/" + RecordingName(1) +
                  " stamp 1, 0 20140312AM/" + RecordingName(2) + " stamp 1, 0 20140312AM/" +
                  RecordingName(3) + " stamp 1], camera 1, 0, 0, 0, 0)\n");
}

TEST_F(EventAddTest, IdIsReadInBaseTen) {
    MakeRecordings(2);
    platform.rawRowIds = true;
    platform.insertResults = {IdRows({"010", "12x"})};

    EXPECT_EQ(RunEventIndexer(1), 2);

    EXPECT_NE(platform.LinesOf("NotifyEventListUpdate").find("[10 20140312AM/"), std::string::npos);
    EXPECT_NE(platform.LinesOf("NotifyEventListUpdate").find(", 12 20140312AM/"),
              std::string::npos);
}

TEST_F(EventAddTest, OneRowIsFetchedForEachEvent) {
    MakeRecordings(2);

    EXPECT_EQ(RunEventIndexer(1), 2);

    const std::string all = platform.FullTranscript();
    EXPECT_NE(all.find(Lines({
                  "AddRecCounts([1 at 1, 1 at 2], 0)",
                  "KRDBFetchRow(result)",
                  "KRDBFetchField(result, 0, \"id\")",
                  "KRDBFetchRow(result)",
                  "KRDBFetchField(result, 1, \"id\")",
                  "NotifyEventListUpdate([1001 20140312AM/" + RecordingName(1) +
                      " stamp 1, 1002 20140312AM/" + RecordingName(2) +
                      " stamp 1], camera 1, 0, 0, 0, 0)",
              })),
              std::string::npos)
        << all;
}

TEST_F(EventAddTest, RowsAreAddedToTheRecordingDatabaseWithAnyTableDescription) {
    MakeRecordings(1);
    KRIndex::EventIndexer indexer({KRDB::DB_SYSTEM, "t", "i", "p"});
    indexer.m_camId = 1;

    EXPECT_EQ(indexer.Start(), 1);

    EXPECT_EQ(platform.LinesOf("Execute(4"), Lines({Query(4, Insert(1))}));
}

class EventBatchTest : public EventAddTest, public testing::WithParamInterface<Batches> {};

TEST_P(EventBatchTest, ContainsUpToAThousandStatements) {
    const auto& [recordings, statements] = GetParam();
    MakeRecordings(recordings);

    EXPECT_EQ(RunEventIndexer(1), recordings);

    EXPECT_EQ(InsertBatches(), statements);
    const auto batches = static_cast<int>(statements.size());
    EXPECT_EQ(platform.CallCnt("Camera::Load"), 1 + batches);
    EXPECT_EQ(platform.CallCnt("AddRecCounts"), batches);
    EXPECT_EQ(platform.CallCnt("NotifyEventListUpdate"), batches);
}

INSTANTIATE_TEST_SUITE_P(Counts, EventBatchTest, BatchesAroundALimit(), NameOf);

TEST_F(EventAddTest, BatchesAreIndependent) {
    MakeRecordings(1001);
    platform.Fail("Execute", 2); // the first batch; the first call fills the map

    EXPECT_EQ(RunEventIndexer(1), 1001);

    EXPECT_EQ(InsertBatches(), (std::vector<std::size_t>{1000, 1}));
    EXPECT_EQ(platform.LinesOf("AddRecCounts"), "AddRecCounts([1 at 1001], 0)\n");
    EXPECT_EQ(platform.LinesOf("NotifyEventListUpdate"), "NotifyEventListUpdate([1001 20140312AM/" +
                                                             RecordingName(1001) +
                                                             " stamp 1], camera 1, 0, 0, 0, 0)\n");
    EXPECT_EQ(Messages(), Lines({
                              Log("error", "eventindexer", "DoAddDbRecords",
                                  "Failed to add event records of cam [1].\n"),
                              Log("notice", "eventindexer", "Log",
                                  "Have add [1001] event DB records of cam [1].\n"),
                          }));
}

TEST_F(EventAddTest, InsertThatSucceedsWithoutAResultGivesTheIdZeroAndFreesNull) {
    MakeRecordings(2);
    platform.noResult = true;

    EXPECT_EQ(RunEventIndexer(1), 2);

    EXPECT_EQ(Added(), Lines({
                           Fill(1),
                           Fill(2),
                           "Camera::Load(1, 0, 0)",
                           Query(4, Insert(1) + Insert(2)),
                           "AddRecCounts([1 at 1, 1 at 2], 0)",
                           "NotifyEventListUpdate([0 20140312AM/" + RecordingName(1) +
                               " stamp 1, 0 20140312AM/" + RecordingName(2) +
                               " stamp 1], camera 1, 0, 0, 0, 0)",
                           "KRDBFreeResult(null)",
                       }));
}

TEST_F(EventAddTest, EachBatchLoadsTheCameraAgain) {
    MakeRecordings(1001);
    platform.beforeCall = [this](std::string_view operation) {
        if (operation == "Execute") { // the first call fills the map, the others write batches
            platform.cameras[1] = "/moved/" + std::to_string(platform.CallCnt("Execute"));
        }
    };

    EXPECT_EQ(RunEventIndexer(1), 1001);

    ASSERT_EQ(platform.notifiedCameras.size(), 2U);
    EXPECT_EQ(platform.notifiedCameras[0].GetStoragePath(), "/moved/0");
    EXPECT_EQ(platform.notifiedCameras[1].GetStoragePath(), "/moved/1");
    // The camera of the run is the one that Init loaded.
    EXPECT_EQ(platform.LinesOf("GetRecThmbnailDirPath"), "GetRecThmbnailDirPath(\"DIR/cam1\")\n");
}

} // namespace
} // namespace unit
