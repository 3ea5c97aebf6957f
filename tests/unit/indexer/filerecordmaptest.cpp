#include "tests/unit/support/platformtest.h"
#include "tests/unit/support/probeindexer.h"

#include <limits>

namespace unit {
namespace {

using Map = std::unordered_map<std::string, int32_t>;

constexpr const char* kSelect = "SELECT rec_id as id, file as path FROM tbl;";

class FileRecordMapTest : public PlatformTest {
protected:
    void SetRows(const std::vector<std::pair<fakes::Field, fakes::Field>>& rows) {
        platform.queries[kSelect] = IdPathRows(rows);
    }
    ProbeIndexer m_indexer;
};

TEST_F(FileRecordMapTest, KeysAreBaseNamesAndValuesAreIds) {
    SetRows({{"7", "20140312AM/a.mp4"}, {"31", "b.png"}, {"2147483647", "/deep/down/c d.jpg"}});

    EXPECT_EQ(m_indexer.InitFileRecIdMap(), 0);

    EXPECT_EQ(m_indexer.m_fileRecIdMap,
              (Map{{"a.mp4", 7}, {"b.png", 31}, {"c d.jpg", 2147483647}}));
}

TEST_F(FileRecordMapTest, KeysAreCaseSensitive) {
    SetRows({{"1", "a.png"}, {"2", "A.png"}});
    EXPECT_EQ(m_indexer.InitFileRecIdMap(), 0);
    EXPECT_EQ(m_indexer.m_fileRecIdMap, (Map{{"a.png", 1}, {"A.png", 2}}));
}

TEST_F(FileRecordMapTest, EmptyTableGivesAnEmptyMap) {
    EXPECT_EQ(m_indexer.Init(), 0);

    EXPECT_TRUE(m_indexer.m_fileRecIdMap.empty());
    EXPECT_EQ(Messages(), Lines({Log("detail", "indexer", "Init",
                                     "Init complete [start_time: 4000000000] "
                                     "[size of record: 0].\n")}));
}

TEST_F(FileRecordMapTest, FirstOfTwoRecordsWithTheSameFileNameIsKept) {
    SetRows({{"9", "AM/a.mp4"}, {"4", "PM/a.mp4"}});

    EXPECT_EQ(m_indexer.Init(), 0);

    EXPECT_EQ(m_indexer.m_fileRecIdMap, (Map{{"a.mp4", 9}}));
    EXPECT_NE(Messages().find("[size of record: 1]"), std::string::npos);
}

TEST_F(FileRecordMapTest, RowsWithoutIdOrPathAreSkippedSilently) {
    SetRows({{std::nullopt, "a.png"}, {"2", std::nullopt}, {"3", "c.png"}});

    EXPECT_EQ(m_indexer.InitFileRecIdMap(), 0);

    EXPECT_EQ(m_indexer.m_fileRecIdMap, (Map{{"c.png", 3}}));
    EXPECT_EQ(Messages(),
              Lines({Log("trace", "indexer", "InitFileRecIdMap", "Map insert: (c.png, 3)\n")}));
}

TEST_F(FileRecordMapTest, IdIsReadInBaseTenAndNarrowedTo32Bits) {
    platform.rawRowIds = true;
    SetRows({{"nonsense", "a"}, {" 12x", "b"}, {"4294967301", "c"}, {"010", "d"}, {"-3", "e"}});

    EXPECT_EQ(m_indexer.InitFileRecIdMap(), 0);

    EXPECT_EQ(m_indexer.m_fileRecIdMap, (Map{{"a", 0}, {"b", 12}, {"c", 5}, {"d", 10}, {"e", -3}}));
}

TEST_F(FileRecordMapTest, TraceShowsTheUnparsedIdAlsoOfADroppedRow) {
    platform.rawRowIds = true;
    SetRows({{" 12x", "AM/a.mp4"}, {"13", "PM/a.mp4"}});

    EXPECT_EQ(m_indexer.InitFileRecIdMap(), 0);

    EXPECT_EQ(Messages(),
              Lines({
                  Log("trace", "indexer", "InitFileRecIdMap", "Map insert: (a.mp4,  12x)\n"),
                  Log("trace", "indexer", "InitFileRecIdMap", "Map insert: (a.mp4, 13)\n"),
              }));
}

TEST_F(FileRecordMapTest, RowsAreReadOneByOneAndTheResultIsFreedOnce) {
    LogUpTo(LOG_LEVEL_DEBUG);
    SetRows({{"7", "AM/a.mp4"}});

    EXPECT_EQ(m_indexer.InitFileRecIdMap(), 0);

    EXPECT_EQ(platform.FullTranscript(),
              Lines({
                  "StringPrintf(\"SELECT %s as id, %s as path FROM %s;\", \"" +
                      std::string(kSelect) + "\")",
                  Query(4, kSelect),
                  "KRDBFetchRow(result)",
                  "KRDBFetchField(result, 0, \"id\")",
                  "KRDBFetchField(result, 0, \"path\")",
                  "GetBaseName(\"AM/a.mp4\")",
                  "KRDBFetchRow(result)",
                  "KRDBFreeResult(result)",
              }));
    EXPECT_EQ(platform.LiveResultCnt(), 0U);
}

TEST_F(FileRecordMapTest, BaseNameForTheTraceIsComputedOnlyWhenTheTraceIsWritten) {
    SetRows({{"7", "AM/a.mp4"}});
    LogUpTo(LOG_LEVEL_DEBUG);
    EXPECT_EQ(m_indexer.InitFileRecIdMap(), 0);
    EXPECT_EQ(platform.CallCnt("GetBaseName"), 1);

    LogUpTo(LOG_LEVEL_TRACE);
    EXPECT_EQ(m_indexer.InitFileRecIdMap(), 0);
    EXPECT_EQ(platform.CallCnt("GetBaseName"), 3);
}

TEST_F(FileRecordMapTest, FailedQueryEmptiesTheMap) {
    m_indexer.m_fileRecIdMap = {{"old.png", 1}};
    platform.Fail("Execute", 1, 5);

    EXPECT_EQ(m_indexer.InitFileRecIdMap(), -1);

    EXPECT_TRUE(m_indexer.m_fileRecIdMap.empty());
    EXPECT_EQ(Transcript(), Lines({
                                Query(4, kSelect),
                                Log("error", "indexer", "InitFileRecIdMap",
                                    "Failed to init file-recordId map.\n"),
                            }));
}

TEST_F(FileRecordMapTest, ResultOfAFailedQueryIsFreed) {
    platform.resultDespiteFailure = true;
    platform.Fail("Execute");

    EXPECT_EQ(m_indexer.InitFileRecIdMap(), -1);

    EXPECT_EQ(Transcript(), Lines({
                                Query(4, kSelect),
                                Log("error", "indexer", "InitFileRecIdMap",
                                    "Failed to init file-recordId map.\n"),
                                "KRDBFreeResult(result)",
                            }));
}

TEST_F(FileRecordMapTest, IsRebuiltByEachInit) {
    m_indexer.m_fileRecIdMap = {{"old.png", 1}};
    SetRows({{"2", "new.png"}});

    EXPECT_EQ(m_indexer.Init(), 0);

    EXPECT_EQ(m_indexer.m_fileRecIdMap, (Map{{"new.png", 2}}));
}

TEST_F(FileRecordMapTest, QueryOfADerivedIndexerIsUsed) {
    class NarrowedIndexer : public ProbeIndexer {
    protected:
        std::string GetFileRecIdSql() override { return "SELECT narrowed;"; }
    };
    NarrowedIndexer indexer;

    EXPECT_EQ(indexer.InitFileRecIdMap(), 0);

    EXPECT_EQ(platform.LinesOf("Execute"), Lines({Query(4, "SELECT narrowed;")}));
}

TEST_F(FileRecordMapTest, QueryRunsOnTheDatabaseOfTheTableDescription) {
    ProbeIndexer indexer({KRDB::DB_SNAPSHOT, "t", "i", "p"});
    EXPECT_EQ(indexer.InitFileRecIdMap(), 0);
    EXPECT_EQ(platform.LinesOf("Execute"), Lines({Query(8, "SELECT i as id, p as path FROM t;")}));
}

TEST_F(FileRecordMapTest, QueryThatSucceedsWithoutAResultGivesAnEmptyMap) {
    m_indexer.m_fileRecIdMap = {{"old.png", 1}};
    platform.noResult = true;

    EXPECT_EQ(m_indexer.InitFileRecIdMap(), 0);

    EXPECT_TRUE(m_indexer.m_fileRecIdMap.empty());
    EXPECT_EQ(Transcript(), Lines({Query(4, kSelect)})); // there is nothing to free
}

} // namespace
} // namespace unit
