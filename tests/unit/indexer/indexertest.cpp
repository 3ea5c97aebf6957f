#include "tests/unit/support/platformtest.h"
#include "tests/unit/support/probeindexer.h"

#include <cerrno>
#include <ostream>
#include <unordered_map>

namespace unit {
namespace {

class IndexerTest : public PlatformTest {
protected:
    ProbeIndexer m_indexer;
};

constexpr const char* kSelect = "SELECT rec_id as id, file as path FROM tbl;";

TEST_F(IndexerTest, StartsEmptyWithACopyOfItsTableDescription) {
    EXPECT_EQ(m_indexer.m_addCnt, 0);
    EXPECT_EQ(m_indexer.m_rmCnt, 0);
    EXPECT_EQ(m_indexer.m_startTime.tv_sec, 0);
    EXPECT_EQ(m_indexer.m_startTime.tv_nsec, 0);
    EXPECT_EQ(m_indexer.m_dbInfo.db, KRDB::DB_RECORDING);
    EXPECT_EQ(m_indexer.m_dbInfo.table, "tbl");
    EXPECT_EQ(m_indexer.m_dbInfo.idColumn, "rec_id");
    EXPECT_EQ(m_indexer.m_dbInfo.pathColumn, "file");
    EXPECT_TRUE(m_indexer.m_fileRecIdMap.empty());
    EXPECT_TRUE(m_indexer.m_tgtDirList.empty());
    EXPECT_TRUE(m_indexer.m_recList.empty());
}

TEST_F(IndexerTest, MapIsCreatedForTenEntriesWithOneEntryPerBucket) {
    const std::unordered_map<std::string, int32_t> expected(10);
    EXPECT_EQ(m_indexer.m_fileRecIdMap.bucket_count(), expected.bucket_count());
    EXPECT_EQ(m_indexer.m_fileRecIdMap.max_load_factor(), 1.0F);
}

TEST_F(IndexerTest, MapTakesTenEntriesWithoutGrowing) {
    const std::size_t buckets = m_indexer.m_fileRecIdMap.bucket_count();
    for (int n = 0; n < 10; ++n) {
        m_indexer.m_fileRecIdMap.emplace(std::to_string(n), n);
    }
    EXPECT_EQ(m_indexer.m_fileRecIdMap.bucket_count(), buckets);
}

TEST_F(IndexerTest, RunsItsStepsInAFixedOrder) {
    LogUpTo(LOG_LEVEL_DETAIL);
    m_indexer.dirs = {MakeDir("second"), MakeDir("first")};
    MakeFile("first/a.png");
    MakeFile("second/b.png");
    platform.queries[kSelect] = IdPathRows({{"5", "b.png"}, {"6", "gone.png"}});

    EXPECT_EQ(m_indexer.Start(), 1);

    EXPECT_EQ(Transcript(),
              Lines({
                  "InitTgtDirList()",
                  Query(4, kSelect),
                  "KRDBFreeResult(result)",
                  Log("detail", "indexer", "Init",
                      "Init complete [start_time: 4000000000] [size of record: 2].\n"),
                  "ProcessFile(DIR/second/b.png, b.png)",
                  "ProcessFile(DIR/first/a.png, a.png)",
                  "DoAddDbRecords()",
                  Log("detail", "indexer", "RemoveUnrefRecs", "Found [1] records.\n"),
                  Statement(4, "DELETE FROM tbl WHERE rec_id IN (6);"),
                  "Log()",
              }));
}

TEST_F(IndexerTest, TakesTheStartTimeFromTheRealtimeClock) {
    libc.clock = timespec{123, 456};

    EXPECT_EQ(m_indexer.Init(), 0);

    EXPECT_EQ(m_indexer.m_startTime.tv_sec, 123);
    EXPECT_EQ(m_indexer.m_startTime.tv_nsec, 456);
}

TEST_F(IndexerTest, EndsTheRunWhenTheClockCannotBeRead) {
    libc.clockError = EINVAL;

    EXPECT_EQ(m_indexer.Start(), -1);

    EXPECT_EQ(Transcript(),
              Lines({
                  Log("error", "indexer", "Init", "Failed to get start time with errno [22].\n"),
                  Log("error", "indexer", "Start", "Failed to init indexer.\n"),
              }));
}

TEST_F(IndexerTest, EndsTheRunWhenTheFoldersCannotBeListed) {
    for (const int failure : {-1, 1}) {
        ProbeIndexer indexer;
        indexer.dirListResult = failure;
        platform.ForgetTranscript();

        EXPECT_EQ(indexer.Start(), -1);

        EXPECT_EQ(Transcript(), Lines({
                                    "InitTgtDirList()",
                                    Log("error", "indexer", "Start", "Failed to init indexer.\n"),
                                }));
    }
}

TEST_F(IndexerTest, EndsTheRunWhenTheRowsCannotBeLoaded) {
    platform.Fail("Execute");

    EXPECT_EQ(m_indexer.Start(), -1);

    EXPECT_EQ(Transcript(), Lines({
                                "InitTgtDirList()",
                                Query(4, kSelect),
                                Log("error", "indexer", "InitFileRecIdMap",
                                    "Failed to init file-recordId map.\n"),
                                Log("error", "indexer", "Start", "Failed to init indexer.\n"),
                            }));
}

TEST_F(IndexerTest, AnyFailureValueOfInitEndsTheRun) {
    class FailingInit : public ProbeIndexer {
    protected:
        int Init() override { return 7; }
    };
    FailingInit indexer;

    EXPECT_EQ(indexer.Start(), -1);

    EXPECT_EQ(Transcript(), Lines({Log("error", "indexer", "Start", "Failed to init indexer.\n")}));
}

TEST_F(IndexerTest, ResultOfTheDirectoryPassIsIgnored) {
    class FailingPass : public ProbeIndexer {
    protected:
        int ProcessTgtDirs() override { return -1; }
    };
    FailingPass indexer;

    EXPECT_EQ(indexer.Start(), 0);

    EXPECT_EQ(platform.LinesOf("Log()"), "Log()\n");
}

TEST_F(IndexerTest, ReturnsZeroWithoutRecordsAndFiles) {
    m_indexer.dirs = {MakeDir("empty")};
    EXPECT_EQ(m_indexer.Start(), 0);
    EXPECT_EQ(platform.LinesOf("ProcessFile"), "");
}

TEST_F(IndexerTest, ResultIsTheSumOfBothCounters) {
    m_indexer.added = 40;
    platform.queries[kSelect] = IdPathRows({{"5", "b.png"}, {"6", "c.png"}});
    EXPECT_EQ(m_indexer.Start(), 42);
}

TEST_F(IndexerTest, ResultCountsRemovedRecordsEvenIfTheirDeleteFailed) {
    platform.queries[kSelect] = IdPathRows({{"5", "b.png"}, {"6", "c.png"}});
    platform.Fail("Execute", 2);

    EXPECT_EQ(m_indexer.Start(), 2);

    EXPECT_EQ(platform.LinesOf("Log()"), "Log()\n");
}

TEST_F(IndexerTest, CountersAreNotResetByASecondStart) {
    m_indexer.added = 3;
    EXPECT_EQ(m_indexer.Start(), 3);
    EXPECT_EQ(m_indexer.Start(), 6);
}

TEST_F(IndexerTest, DirectoryPassAlwaysReturnsZero) {
    m_indexer.m_tgtDirList = {Path("missing")};
    m_indexer.m_fileRecIdMap = {{"a.png", 1}};
    platform.FailAlways("Execute");

    EXPECT_EQ(m_indexer.ProcessTgtDirs(), 0);
}

struct Times {
    timespec start;
    timespec change;
    bool after;
};

void PrintTo(const Times& times, std::ostream* out) {
    *out << times.change.tv_sec << "." << times.change.tv_nsec << " after " << times.start.tv_sec
         << "." << times.start.tv_nsec;
}

class ModifiedAfterStartTest : public PlatformTest, public testing::WithParamInterface<Times> {};

TEST_P(ModifiedAfterStartTest, ComparesSecondsThenNanoseconds) {
    ProbeIndexer indexer;
    indexer.m_startTime = GetParam().start;
    struct stat64 st = {};
    st.st_ctim = GetParam().change;
    EXPECT_EQ(indexer.IsModifiedAfterStart(st), GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ModifiedAfterStartTest,
    testing::Values(Times{{100, 5}, {100, 5}, false}, Times{{100, 5}, {100, 6}, true},
                    Times{{100, 5}, {100, 4}, false}, Times{{100, 5}, {101, 0}, true},
                    Times{{100, 5}, {99, 999'999'999}, false}, Times{{-1, 0}, {0, 0}, true},
                    Times{{1, 0}, {4'294'967'296, 0}, true}));

TEST_F(IndexerTest, OnlyTheStatusChangeTimeCounts) {
    m_indexer.m_startTime = {100, 0};
    struct stat64 st = {};
    st.st_mtim = {200, 0};
    st.st_atim = {200, 0};
    st.st_ctim = {50, 0};
    EXPECT_FALSE(m_indexer.IsModifiedAfterStart(st));
}

TEST_F(IndexerTest, ResultIsTakenAfterTheSummary) {
    class CountingSummary : public ProbeIndexer {
    protected:
        void Log() override {
            m_addCnt += 30;
            m_rmCnt += 4;
        }
    };
    CountingSummary indexer;
    indexer.added = 100;

    EXPECT_EQ(indexer.Start(), 134);
}

} // namespace
} // namespace unit
