#include "tests/unit/support/platformtest.h"
#include "tests/unit/support/recordings.h"

#include <filesystem>

namespace unit {
namespace {

class EventRemoveTest : public PlatformTest {
protected:
    EventRemoveTest() {
        LogUpTo(LOG_LEVEL_DETAIL);
        AddCamera(1);
    }
    void SetRows(const std::vector<std::pair<fakes::Field, fakes::Field>>& rows) {
        platform.queries[EventSelect(1)] = IdPathRows(rows);
    }
    std::string Own() const { return platform.MessagesOf("eventindexer"); }
    // The end of the transcript, after the removal of rows.
    std::string Closing() const {
        const std::string all = Transcript();
        return all.substr(all.find("GetRecThmbnailDirPath"));
    }
    static bool Exists(const std::string& path) { return std::filesystem::exists(path); }
};

std::string Found(int count) {
    return Log("detail", "eventindexer", "RemoveUnrefRecs",
               "Found [" + std::to_string(count) + "] unreferenced event records.\n");
}

std::string Complete() {
    return Log("detail", "eventindexer", "Log", "Reindex event data of cam [1] complete.\n");
}

std::string Removed(int count) {
    return Log("notice", "eventindexer", "Log",
               "Have removed [" + std::to_string(count) +
                   "] unreferenced event records of cam [1].\n");
}

std::string RemoveDir(const std::string& dir) {
    return Log("detail", "eventindexer", "ChkToRmEmptylDir", "Remove dir [" + dir + "].\n");
}

TEST_F(EventRemoveTest, WithoutUnreferencedRecordsNothingIsDeleted) {
    MakeFile(std::string("cam1/20140312AM/") + kRecording);
    SetRows({{"5", std::string("20140312AM/") + kRecording}});

    EXPECT_EQ(RunEventIndexer(1), 0);

    EXPECT_EQ(Own(), Lines({Found(0), Complete()}));
    EXPECT_EQ(platform.CallCnt("DelUnrefRecsFromDB"), 0);
}

TEST_F(EventRemoveTest, AllUnreferencedRecordsAreDeletedInOneCall) {
    std::vector<std::pair<fakes::Field, fakes::Field>> rows;
    std::vector<std::pair<std::string, int>> names;
    for (int id = 1; id <= 2500; ++id) {
        rows.emplace_back(std::to_string(id), "20140312AM/" + RecordingName(id));
        names.emplace_back(RecordingName(id), id);
    }
    SetRows(rows);

    EXPECT_EQ(RunEventIndexer(1), 2500);

    EXPECT_EQ(platform.LinesOf("DelUnrefRecsFromDB"),
              "DelUnrefRecsFromDB(\"" + Joined(IdsInMapOrder(names), ",") + "\", 0)\n");
    EXPECT_EQ(platform.LinesOf("Execute"), Lines({Query(4, EventSelect(1))}));
    EXPECT_EQ(platform.LinesOf(Removed(2500)), Removed(2500) + "\n");
}

TEST_F(EventRemoveTest, FailedDeletionIsStillReportedAsRemoved) {
    SetRows({{"5", "20140312AM/gone.mp4"}});
    platform.Fail("DelUnrefRecsFromDB", 1, 4);

    EXPECT_EQ(RunEventIndexer(1), 1);

    EXPECT_EQ(Own(), Lines({
                         Found(1),
                         Log("error", "eventindexer", "RemoveUnrefRecs",
                             "Failed to delete unreference event records of cam [1] from DB.\n"),
                         Complete(),
                         Removed(1),
                     }));
}

TEST_F(EventRemoveTest, RecordsInFoldersThatAreNotWalkedAreDeleted) {
    MakeFile(std::string("cam1/other/") + kRecording);
    MakeFile("cam1/20140312AM/deep/20140312-101500-0000000002.mp4");
    SetRows({{"5", std::string("other/") + kRecording},
             {"6", "20140312AM/deep/20140312-101500-0000000002.mp4"}});

    EXPECT_EQ(RunEventIndexer(1), 2);

    EXPECT_EQ(
        platform.LinesOf("DelUnrefRecsFromDB"),
        "DelUnrefRecsFromDB(\"" +
            Joined(IdsInMapOrder({{kRecording, 5}, {"20140312-101500-0000000002.mp4", 6}}), ",") +
            "\", 0)\n");
}

TEST_F(EventRemoveTest, SummaryNamesCompletionThenAddedThenRemoved) {
    LogUpTo(LOG_LEVEL_DETAIL);
    MakeFile("cam1/20140312AM/" + RecordingName(2));
    SetRows({{"5", "20140312AM/gone.mp4"}});

    EXPECT_EQ(RunEventIndexer(1), 2);

    const std::string own = Own();
    const std::string summary = Lines({
        Found(1),
        Complete(),
        Log("notice", "eventindexer", "Log", "Have add [1] event DB records of cam [1].\n"),
        Removed(1),
    });
    ASSERT_GE(own.size(), summary.size());
    EXPECT_EQ(own.substr(own.size() - summary.size()), summary);
}

TEST_F(EventRemoveTest, EmptyHalfDayAndThumbnailFoldersAreRemoved) {
    MakeDir("cam1/20140312AM");
    MakeFile("cam1/20140312PM/keep.txt");
    MakeDir("cam1/@Thumbnail/any name");
    MakeFile("cam1/@Thumbnail/full/keep.jpg");

    EXPECT_EQ(RunEventIndexer(1), 0);

    EXPECT_EQ(Closing(), Lines({
                             "GetRecThmbnailDirPath(\"DIR/cam1\")",
                             "GetDirsInDir(\"DIR/cam1/@Thumbnail\", list, true, false, \"\")",
                             "IsDirEmpty(\"DIR/cam1/20140312AM\")",
                             RemoveDir("DIR/cam1/20140312AM"),
                             "KRRm(\"DIR/cam1/20140312AM\")",
                             "IsDirEmpty(\"DIR/cam1/20140312PM\")",
                             "IsDirEmpty(\"DIR/cam1/@Thumbnail/any name\")",
                             RemoveDir("DIR/cam1/@Thumbnail/any name"),
                             "KRRm(\"DIR/cam1/@Thumbnail/any name\")",
                             "IsDirEmpty(\"DIR/cam1/@Thumbnail/full\")",
                             Complete(),
                         }));
    EXPECT_FALSE(Exists(Path("cam1/20140312AM")));
    EXPECT_TRUE(Exists(Path("cam1/20140312PM")));
    EXPECT_FALSE(Exists(Path("cam1/@Thumbnail/any name")));
    EXPECT_TRUE(Exists(Path("cam1/@Thumbnail/full")));
}

TEST_F(EventRemoveTest, StorageAndThumbnailFoldersThemselvesStay) {
    MakeDir("cam1/@Thumbnail");

    EXPECT_EQ(RunEventIndexer(1), 0);

    EXPECT_EQ(platform.CallCnt("KRRm"), 0);
    EXPECT_TRUE(Exists(Path("cam1/@Thumbnail")));
}

TEST_F(EventRemoveTest, EmptyFoldersAtDeeperLevelsStay) {
    MakeDir("cam1/20140312AM/deep");
    MakeDir("cam1/@Thumbnail/full/deep");

    EXPECT_EQ(RunEventIndexer(1), 0);

    EXPECT_EQ(platform.CallCnt("KRRm"), 0);
}

TEST_F(EventRemoveTest, EmptyHalfDayFoldersAreRemovedEvenIfTheThumbnailFolderIsUnreadable) {
    MakeDir("cam1/20140312AM");
    platform.Fail("GetDirsInDir", 2);

    EXPECT_EQ(RunEventIndexer(1), 0);

    EXPECT_EQ(platform.LinesOf("KRRm"), "KRRm(\"DIR/cam1/20140312AM\")\n");
    EXPECT_EQ(Own(), Lines({Found(0), RemoveDir("DIR/cam1/20140312AM"), Complete()}));
}

TEST_F(EventRemoveTest, FolderThatCannotBeRemovedDoesNotStopTheNext) {
    MakeDir("cam1/20140312AM");
    MakeDir("cam1/20140312PM");
    platform.Fail("KRRm", 1, 5);

    EXPECT_EQ(RunEventIndexer(1), 0);

    EXPECT_EQ(platform.LinesOf("KRRm"),
              Lines({"KRRm(\"DIR/cam1/20140312AM\")", "KRRm(\"DIR/cam1/20140312PM\")"}));
    EXPECT_EQ(Own(), Lines({
                         Found(0),
                         RemoveDir("DIR/cam1/20140312AM"),
                         RemoveDir("DIR/cam1/20140312PM"),
                         Complete(),
                     }));
}

TEST_F(EventRemoveTest, RowsAreAddedThenRemovedAndFoldersAreRemovedLast) {
    MakeFile("cam1/20140312AM/" + RecordingName(2));
    MakeDir("cam1/20140312PM");
    SetRows({{"5", "20140312AM/gone.mp4"}});

    EXPECT_EQ(RunEventIndexer(1), 2);

    const std::string all = Transcript();
    EXPECT_LT(all.find("NotifyEventListUpdate"), all.find("DelUnrefRecsFromDB"));
    EXPECT_LT(all.find("DelUnrefRecsFromDB"), all.find("KRRm"));
    EXPECT_LT(all.find("KRRm"), all.find("Reindex event data of cam"));
}

} // namespace
} // namespace unit
