#include "indexer/snapshotindexer.h"

#include "tests/unit/support/batches.h"
#include "tests/unit/support/opened.h"
#include "tests/unit/support/platformtest.h"

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>

namespace unit {
namespace {

constexpr const char* kSnapshot = "cam1-20240101-1704067200.jpg";

class SnapshotIndexerTest : public PlatformTest {
protected:
    SnapshotIndexerTest() {
        MakeMediaFolders();
        LogUpTo(LOG_LEVEL_DETAIL);
    }

    static int Run() {
        return KRIndex::SnapshotIndexer({KRDB::DB_SNAPSHOT, gszTableSnapshot, "id", "filename"})
            .Start();
    }

    // Creates a snapshot whose file has these times in seconds.
    std::string MakeSnapshot(const std::string& name, time_t accessTm, time_t modificationTm,
                             uint64_t sizeBytes = 0) {
        std::string path = MakeFile("snap/" + name, sizeBytes);
        const std::array<timespec, 2> times = {timespec{accessTm, 900'000'000},
                                               timespec{modificationTm, 900'000'000}};
        EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
        return path;
    }

    void MakeSnapshots(int count) {
        for (int n = 0; n < count; ++n) {
            std::array<char, 64> name{};
            std::snprintf(name.data(), name.size(), "snap/cam-20240101-%010d.jpg", n);
            MakeFile(name.data());
        }
    }

    std::string Lookups() const { return platform.LinesOf("ReindexSnapshotSql"); }
    std::string FileMessages() const {
        return platform.LinesOf("KRPrintf(0, reindex, detail, snapshotindexer");
    }
};

std::string Mismatch(const std::string& name) {
    return Log("detail", "snapshotindexer", "ProcessFile",
               "Snapshot [" + name + "] doesn't match naming pattern.\n");
}

std::string SqlOf(const std::string& name, const std::string& timeAndSize) {
    return "ReindexSnapshotSql(\"DIR/snap/" + name + "\", \"" + name + "\", " + timeAndSize + ")";
}

TEST_F(SnapshotIndexerTest, AddsASnapshotThatHasNoRow) {
    MakeSnapshot(kSnapshot, 1704067300, 1704067200, 77);

    EXPECT_EQ(Run(), 1);

    EXPECT_EQ(Transcript(),
              Lines({
                  "GetSnapshotFullPath()",
                  Query(8, kSnapshotSelect),
                  "KRDBFreeResult(result)",
                  Log("detail", "indexer", "Init",
                      "Init complete [start_time: 4000000000] [size of record: 0].\n"),
                  Log("detail", "snapshotindexer", "ProcessFile",
                      "Add snapshot [DIR/snap/cam1-20240101-1704067200.jpg] record: "
                      "startTm: [1704067200], size: [77].\n"),
                  "IsFileExist(\"DIR/snap/@Thumbnail/cam1-20240101-1704067200.jpg\")",
                  "CreateThumbnail(\"DIR/snap/cam1-20240101-1704067200.jpg\")",
                  "GetSnapshotFullPath()",
                  SqlOf("cam1-20240101-1704067200.jpg", "1704067200, 77"),
                  Statement(8, "INSERT INTO snapshot VALUES "
                               "('cam1-20240101-1704067200.jpg', 1704067200, 77);"),
                  Log("detail", "indexer", "RemoveUnrefRecs", "Found [0] records.\n"),
                  Log("info", "snapshotindexer", "Log", "Reindex snapshot data complete.\n"),
                  Log("notice", "snapshotindexer", "Log", "Have add [1] snapshot DB records.\n"),
              }));
}

TEST_F(SnapshotIndexerTest, AddsPlainAndEditedNames) {
    for (const char* name :
         {"cam1-20240101-1704067200.jpg", "cam1-20240101-1704067200-Modified-2.jpg",
          "-20240101-1704067200.jpg", "-20240101-1704067200-Modified-1234567890123.jpg",
          "a b\nc-20240101-1704067200.jpg", "x\xff-20240101-1704067200.jpg"}) {
        MakeFile(std::string("snap/") + name);
    }

    EXPECT_EQ(Run(), 6);

    EXPECT_EQ(InsertBatches(), std::vector<std::size_t>{6});
}

class SnapshotNameTest : public SnapshotIndexerTest,
                         public testing::WithParamInterface<const char*> {};

TEST_P(SnapshotNameTest, IsReportedAsNotMatching) {
    MakeFile(std::string("snap/") + GetParam());

    EXPECT_EQ(Run(), 0);

    EXPECT_EQ(FileMessages(), Lines({Mismatch(GetParam())}));
    EXPECT_EQ(platform.CallCnt("CreateThumbnail"), 0);
    EXPECT_EQ(InsertBatches(), std::vector<std::size_t>{});
}

INSTANTIATE_TEST_SUITE_P(Names, SnapshotNameTest,
                         testing::Values("cam1-20240101-170406720.jpg", "20240101-1704067200.jpg",
                                         "cam1-2024010-1704067200.jpg",
                                         "cam1-20240101-1704067200.JPG",
                                         "cam1-20240101-1704067200.jpg.tmp",
                                         "cam1-20240101-1704067200xjpg",
                                         "cam1-20240101-1704067200-Modified-.jpg",
                                         "cam1-20240101-1704067200-Modified-2a.jpg",
                                         "cam1-20240101-1704067200-modified-2.jpg",
                                         "cam1-20240101-1704067200-Modified-2xjpg",
                                         "cam1-20240101-1704067200-Modified-2.jpg~"));

TEST_F(SnapshotIndexerTest, BothPatternsAreCompiledForEveryFile) {
    MakeFile("snap/has-row.jpg");
    platform.queries[kSnapshotSelect] = IdPathRows({{"5", "has-row.jpg"}});

    EXPECT_EQ(Run(), 0);

    EXPECT_EQ(platform.LinesOf("KRRegEx"),
              Lines({
                  R"(KRRegEx(".*-[0-9]{8}-[0-9]{10}\\.jpg$"))",
                  R"(KRRegEx(".*-[0-9]{8}-[0-9]{10}-Modified-[0-9]+\\.jpg$"))",
              }));
}

TEST_F(SnapshotIndexerTest, FileWithARowIsNeitherSkippedNorReported) {
    MakeFile("snap/odd name.png");
    MakeFile(std::string("snap/") + kSnapshot);
    libc.clock = timespec{1, 0}; // both changed after the start
    platform.queries[kSnapshotSelect] = IdPathRows({{"5", "odd name.png"}, {"6", kSnapshot}});

    EXPECT_EQ(Run(), 0);

    EXPECT_EQ(FileMessages(), "");
    EXPECT_EQ(platform.CallCnt("KRRegEx::IsMatch"), 0);
    EXPECT_EQ(platform.CallCnt("IsFileExist"), 0);
}

TEST_F(SnapshotIndexerTest, FileChangedAfterTheStartIsLeftForALaterRun) {
    const std::string path = MakeFile(std::string("snap/") + kSnapshot);
    libc.clock = Shifted(ChangeTime(path), -1);

    EXPECT_EQ(Run(), 0);

    EXPECT_EQ(FileMessages(),
              Lines({Log("detail", "snapshotindexer", "ProcessFile",
                         "Skip file [DIR/snap/cam1-20240101-1704067200.jpg] modified after task "
                         "start time.\n")}));
}

TEST_F(SnapshotIndexerTest, FileChangedAtTheStartIsAdded) {
    libc.clock = ChangeTime(MakeFile(std::string("snap/") + kSnapshot));
    EXPECT_EQ(Run(), 1);
}

TEST_F(SnapshotIndexerTest, AccessTimeIsTheStartTimeIfItIsTheOldest) {
    MakeSnapshot(kSnapshot, 100, 200);
    EXPECT_EQ(Run(), 1);
    EXPECT_NE(Lookups().find(", 100, 0)"), std::string::npos) << Lookups();
}

TEST_F(SnapshotIndexerTest, ModificationTimeIsTheStartTimeIfItIsTheOldest) {
    MakeSnapshot(kSnapshot, 300, 200);
    EXPECT_EQ(Run(), 1);
    EXPECT_NE(Lookups().find(", 200, 0)"), std::string::npos) << Lookups();
}

TEST_F(SnapshotIndexerTest, StatusChangeTimeIsTheStartTimeIfItIsTheOldest) {
    const std::string path = MakeSnapshot(kSnapshot, 3'900'000'000, 3'900'000'000);
    const std::string expected = ", " + std::to_string(ChangeTime(path).tv_sec) + ", 0)";

    EXPECT_EQ(Run(), 1);

    EXPECT_NE(Lookups().find(expected), std::string::npos) << Lookups();
}

TEST_F(SnapshotIndexerTest, SizeIsNarrowedTo32Bits) {
    MakeSnapshot(kSnapshot, 100, 100, 4'294'967'296 + 7);
    MakeSnapshot("b-20240101-1704067200.jpg", 100, 100, 4'294'967'295);
    libc.listings[Path("snap")] = {{kSnapshot}, {"b-20240101-1704067200.jpg"}};

    EXPECT_EQ(Run(), 2);

    EXPECT_EQ(Lookups(), Lines({
                             SqlOf("cam1-20240101-1704067200.jpg", "100, 7"),
                             SqlOf("b-20240101-1704067200.jpg", "100, -1"),
                         }));
}

TEST_F(SnapshotIndexerTest, ExistingThumbnailIsNotMadeAgain) {
    MakeFile(std::string("snap/") + kSnapshot);
    MakeFile(std::string("snap/@Thumbnail/") + kSnapshot);

    EXPECT_EQ(Run(), 1);

    EXPECT_EQ(platform.CallCnt("CreateThumbnail"), 0);
}

TEST_F(SnapshotIndexerTest, FailedThumbnailIsLoggedAndTheRowAdded) {
    LogUpTo(LOG_LEVEL_NOTICE);
    MakeFile(std::string("snap/") + kSnapshot);
    platform.Fail("CreateThumbnail", 1, 3);

    EXPECT_EQ(Run(), 1);

    EXPECT_EQ(InsertBatches(), std::vector<std::size_t>{1});
    EXPECT_EQ(Messages(),
              Lines({
                  Log("error", "snapshotindexer", "ChkToCreateThumbnail",
                      "Failed to create thumbnail for snapshot "
                      "[DIR/snap/cam1-20240101-1704067200.jpg].\n"),
                  Log("notice", "snapshotindexer", "Log", "Have add [1] snapshot DB records.\n"),
              }));
}

class SnapshotBatchTest : public SnapshotIndexerTest,
                          public testing::WithParamInterface<Batches> {};

TEST_P(SnapshotBatchTest, ContainsUpToAThousandStatements) {
    LogUpTo(LOG_LEVEL_NOTICE);
    MakeSnapshots(GetParam().files);

    EXPECT_EQ(Run(), GetParam().files);

    EXPECT_EQ(InsertBatches(), GetParam().statements);
}

INSTANTIATE_TEST_SUITE_P(Counts, SnapshotBatchTest, BatchesAroundALimit(), NameOf);

TEST_F(SnapshotIndexerTest, FailedBatchDropsOnlyItsRowsAndIsStillCounted) {
    LogUpTo(LOG_LEVEL_NOTICE);
    MakeSnapshots(1001);
    platform.Fail("Execute", 2);

    EXPECT_EQ(Run(), 1001);

    EXPECT_EQ(InsertBatches(), (std::vector<std::size_t>{1000, 1}));
    EXPECT_EQ(Messages(),
              Lines({
                  Log("error", "snapshotindexer", "AddSnapshotRecords",
                      "Failed to add snapshot records.\n"),
                  Log("notice", "snapshotindexer", "Log", "Have add [1001] snapshot DB records.\n"),
              }));
}

TEST_F(SnapshotIndexerTest, RowsAreAddedToTheSnapshotDatabaseWithAnyTableDescription) {
    MakeSnapshot(kSnapshot, 100, 100);
    KRIndex::SnapshotIndexer indexer({KRDB::DB_SYSTEM, "t", "i", "p"});

    EXPECT_EQ(indexer.Start(), 1);

    EXPECT_EQ(platform.LinesOf("Execute"),
              Lines({
                  Query(0, "SELECT i as id, p as path FROM t;"),
                  Statement(8, "INSERT INTO snapshot VALUES "
                               "('cam1-20240101-1704067200.jpg', 100, 0);"),
              }));
}

TEST_F(SnapshotIndexerTest, SummaryNamesAddedBeforeRemoved) {
    LogUpTo(LOG_LEVEL_INFO);
    MakeFile(std::string("snap/") + kSnapshot);
    platform.queries[kSnapshotSelect] = IdPathRows({{"5", "gone.jpg"}, {"6", "lost.jpg"}});

    EXPECT_EQ(Run(), 3);

    EXPECT_EQ(Messages(),
              Lines({
                  Log("info", "snapshotindexer", "Log", "Reindex snapshot data complete.\n"),
                  Log("notice", "snapshotindexer", "Log", "Have add [1] snapshot DB records.\n"),
                  Log("notice", "snapshotindexer", "Log",
                      "Have removed [2] unreferenced snapshot records.\n"),
              }));
}

TEST_F(SnapshotIndexerTest, RunThatChangesNothingLogsOnlyItsCompletion) {
    LogUpTo(LOG_LEVEL_INFO);

    EXPECT_EQ(Run(), 0);

    EXPECT_EQ(Messages(),
              Lines({Log("info", "snapshotindexer", "Log", "Reindex snapshot data complete.\n")}));
}

TEST_F(SnapshotIndexerTest, PlainNameIsMatchedWithOnePatternAndAnyOtherNameWithBoth) {
    const std::string edited = "cam1-20240101-1704067200-Modified-2.jpg";
    for (const std::string& name : {std::string(kSnapshot), edited, std::string("odd.jpg")}) {
        MakeFile("snap/" + name);
    }
    libc.listings[Path("snap")] = {{kSnapshot}, {edited}, {"odd.jpg"}};

    EXPECT_EQ(Run(), 2);

    EXPECT_EQ(platform.LinesOf("KRRegEx::IsMatch"),
              Lines({
                  "KRRegEx::IsMatch(\"" + std::string(kSnapshot) + "\")",
                  "KRRegEx::IsMatch(\"" + edited + "\")",
                  "KRRegEx::IsMatch(\"" + edited + "\")",
                  "KRRegEx::IsMatch(\"odd.jpg\")",
                  "KRRegEx::IsMatch(\"odd.jpg\")",
              }));
    EXPECT_EQ(platform.CallCnt("KRRegEx"), 6); // both patterns are compiled for each file
}

TEST_F(SnapshotIndexerTest, FolderIsRequestedTwicePerRun) {
    LogUpTo(0);
    MakeSnapshots(1001);

    EXPECT_EQ(Run(), 1001);

    EXPECT_EQ(platform.CallCnt("GetSnapshotFullPath"), 2);
}

TEST_F(SnapshotIndexerTest, MessageContainsTheLow32BitsOfSizeAndTime) {
    const std::string path = MakeFile(std::string("snap/") + kSnapshot);
    struct stat64& st = libc.statuses[path];
    st.st_size = 4'294'967'296 + 7;
    st.st_atim.tv_sec = st.st_mtim.tv_sec = st.st_ctim.tv_sec = 3'000'000'000;

    EXPECT_EQ(Run(), 1);

    EXPECT_EQ(FileMessages(), Lines({Log("detail", "snapshotindexer", "ProcessFile",
                                         "Add snapshot [DIR/snap/cam1-20240101-1704067200.jpg] "
                                         "record: startTm: [-1294967296], size: [7].\n")}));
    EXPECT_EQ(Lookups(), Lines({SqlOf(kSnapshot, "3000000000, 7")}));
}

class OpenedSnapshotTest : public SnapshotIndexerTest {
protected:
    int Process(const std::string& name) {
        struct stat64 st = {};
        return m_indexer.ProcessFile(Path("snap/" + name), name, st);
    }

    Opened<KRIndex::SnapshotIndexer> m_indexer{
        KRIndex::IndexerDbInfo{KRDB::DB_SNAPSHOT, gszTableSnapshot}};
};

TEST_F(OpenedSnapshotTest, ListingOfFoldersNeverFails) {
    platform.snapshotFolder = "";
    EXPECT_EQ(m_indexer.InitTgtDirList(), 0);
    EXPECT_EQ(m_indexer.m_tgtDirList, std::list<std::string>{""});
}

TEST_F(OpenedSnapshotTest, ProcessFileAlwaysReturnsZero) {
    platform.FailAlways("CreateThumbnail");
    EXPECT_EQ(Process(kSnapshot), 0);
    EXPECT_EQ(Process("odd.jpg"), 0);
    m_indexer.m_fileRecIdMap = {{"row.jpg", 1}};
    EXPECT_EQ(Process("row.jpg"), 0);
    struct stat64 later = {};
    later.st_ctim.tv_sec = 1; // the run started at 0
    EXPECT_EQ(m_indexer.ProcessFile(Path("snap/later.jpg"), "later.jpg", later), 0);
    EXPECT_EQ(m_indexer.m_recList.size(), 1U);
}

TEST_F(OpenedSnapshotTest, PendingRecordsAreKept) {
    EXPECT_EQ(Process(kSnapshot), 0);
    EXPECT_EQ(m_indexer.ProcessTgtDirs(), 0);
    EXPECT_EQ(m_indexer.m_addCnt, 1);
    ASSERT_EQ(m_indexer.m_recList.size(), 1U);
    EXPECT_EQ(m_indexer.m_recList[0].path, kSnapshot);
}

TEST_F(OpenedSnapshotTest, EmptyMapKeepsTheCounterOfRemovedRecords) {
    m_indexer.m_rmCnt = 3;
    m_indexer.RemoveUnrefRecs();
    EXPECT_EQ(m_indexer.m_rmCnt, 3);
}

} // namespace
} // namespace unit
