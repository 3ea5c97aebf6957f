#include "tests/unit/support/platformtest.h"
#include "tests/unit/support/probeindexer.h"
#include "tests/unit/support/recordings.h"

namespace unit {
namespace {

class UnreferencedRecordsTest : public PlatformTest {
protected:
    ProbeIndexer m_indexer;
};

std::string Found(int count) {
    return Log("detail", "indexer", "RemoveUnrefRecs",
               "Found [" + std::to_string(count) + "] records.\n");
}

TEST_F(UnreferencedRecordsTest, AreNotDeletedIfThereAreNone) {
    m_indexer.m_rmCnt = 0;

    m_indexer.RemoveUnrefRecs();

    EXPECT_EQ(Transcript(), Lines({Found(0)}));
    EXPECT_EQ(m_indexer.m_rmCnt, 0);
}

TEST_F(UnreferencedRecordsTest, LeaveTheCounterUnchangedIfThereAreNone) {
    m_indexer.m_rmCnt = 3;
    m_indexer.RemoveUnrefRecs();
    EXPECT_EQ(m_indexer.m_rmCnt, 3);
}

TEST_F(UnreferencedRecordsTest, AreDeletedByTheirIdColumn) {
    m_indexer.m_fileRecIdMap = {{"gone.png", 5}};

    m_indexer.RemoveUnrefRecs();

    EXPECT_EQ(Transcript(),
              Lines({Found(1), Statement(4, "DELETE FROM tbl WHERE rec_id IN (5);")}));
    EXPECT_EQ(m_indexer.m_rmCnt, 1);
}

TEST_F(UnreferencedRecordsTest, AreListedInTheOrderOfTheMap) {
    const std::vector<std::pair<std::string, int>> rows = {{"a", 12}, {"b", 7}, {"c", 31}};
    for (const auto& row : rows) {
        m_indexer.m_fileRecIdMap.insert(row);
    }

    m_indexer.RemoveUnrefRecs();

    EXPECT_EQ(platform.LinesOf("Execute"),
              Lines({Statement(4, "DELETE FROM tbl WHERE rec_id IN (" +
                                      Joined(IdsInMapOrder(rows), ",") + ");")}));
    EXPECT_EQ(m_indexer.m_rmCnt, 3);
}

TEST_F(UnreferencedRecordsTest, AreDeletedInOneStatementHoweverMany) {
    std::vector<std::pair<std::string, int>> rows;
    for (int id = 1; id <= 3000; ++id) {
        rows.emplace_back(RecordingName(id), id);
        m_indexer.m_fileRecIdMap.insert(rows.back());
    }

    m_indexer.RemoveUnrefRecs();

    ASSERT_EQ(platform.statements.size(), 1U);
    EXPECT_EQ(platform.statements[0].sql,
              "DELETE FROM tbl WHERE rec_id IN (" + Joined(IdsInMapOrder(rows), ",") + ");");
    EXPECT_EQ(m_indexer.m_rmCnt, 3000);
}

TEST_F(UnreferencedRecordsTest, AreCountedAlsoWhenTheStatementFails) {
    m_indexer.m_fileRecIdMap = {{"gone.png", 5}};
    platform.Fail("Execute", 1, 9);

    m_indexer.RemoveUnrefRecs();

    EXPECT_EQ(Transcript(), Lines({
                                Found(1),
                                Statement(4, "DELETE FROM tbl WHERE rec_id IN (5);"),
                                Log("error", "indexer", "RemoveUnrefRecs",
                                    "Failed to remove unreference records.\n"),
                            }));
    EXPECT_EQ(m_indexer.m_rmCnt, 1);
}

TEST_F(UnreferencedRecordsTest, StayInTheMap) {
    m_indexer.m_fileRecIdMap = {{"gone.png", 5}};
    m_indexer.RemoveUnrefRecs();
    EXPECT_EQ(m_indexer.m_fileRecIdMap.size(), 1U);
}

} // namespace
} // namespace unit
