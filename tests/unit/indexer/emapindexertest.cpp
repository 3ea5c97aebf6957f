#include "indexer/emapindexer.h"

#include "tests/unit/support/opened.h"
#include "tests/unit/support/platformtest.h"

namespace unit {
namespace {

class EmapIndexerTest : public PlatformTest {
protected:
    EmapIndexerTest() {
        MakeMediaFolders();
        LogUpTo(LOG_LEVEL_DETAIL);
    }

    static int Run() {
        return KRIndex::EmapIndexer({KRDB::DB_SYSTEM, gszTableEmap, "id", "filename"}).Start();
    }
    void SetRows(const std::vector<std::pair<fakes::Field, fakes::Field>>& rows) {
        platform.queries[kEmapSelect] = IdPathRows(rows);
    }
    std::string Statements() const { return platform.LinesOf("Execute"); }
    static std::string Deletion(const std::string& ids) {
        return Statement(0, "DELETE FROM emap WHERE id IN (" + ids + ");");
    }
};

TEST_F(EmapIndexerTest, RemovesARowWhoseImageIsMissing) {
    MakeFile("emap/here.png");
    SetRows({{"3", "here.png"}, {"4", "gone.png"}});

    EXPECT_EQ(Run(), 1);

    EXPECT_EQ(
        Transcript(),
        Lines({
            Query(0, kEmapSelect),
            "KRDBFreeResult(result)",
            Log("detail", "indexer", "Init",
                "Init complete [start_time: 4000000000] [size of record: 2].\n"),
            Log("detail", "indexer", "RemoveUnrefRecs", "Found [1] records.\n"),
            Deletion("4"),
            Log("info", "emapindexer", "Log", "Reindex emap data complete.\n"),
            Log("notice", "emapindexer", "Log", "Have removed [1] unreferenced emap records.\n"),
        }));
}

TEST_F(EmapIndexerTest, ThumbnailNeverProtectsARow) {
    MakeFile("emap/thumb_x.png");
    SetRows({{"3", "thumb_x.png"}});

    EXPECT_EQ(Run(), 1);

    EXPECT_EQ(Statements(), Lines({Query(0, kEmapSelect), Deletion("3")}));
}

TEST_F(EmapIndexerTest, OnlyThePrefixMarksAThumbnail) {
    for (const char* name : {"a_thumb_1.png", "Thumb_1.png", "thumb1.png", "thumb"}) {
        MakeFile(std::string("emap/") + name);
    }
    SetRows({{"1", "a_thumb_1.png"}, {"2", "Thumb_1.png"}, {"3", "thumb1.png"}, {"4", "thumb"}});

    EXPECT_EQ(Run(), 0);

    EXPECT_EQ(Statements(), Lines({Query(0, kEmapSelect)}));
}

TEST_F(EmapIndexerTest, FileNamesAreComparedCompletelyAndCaseSensitively) {
    MakeFile("emap/A.png");
    MakeFile("emap/a.pn");
    SetRows({{"1", "a.png"}});

    EXPECT_EQ(Run(), 1);
}

TEST_F(EmapIndexerTest, ImageWithoutARowIsIgnoredSilently) {
    MakeFile("emap/new.png");

    EXPECT_EQ(Run(), 0);

    EXPECT_EQ(Statements(), Lines({Query(0, kEmapSelect)}));
    EXPECT_EQ(platform.LinesOf("KRPrintf(0, reindex, notice"), "");
    EXPECT_EQ(Messages().find("new.png"), std::string::npos);
}

TEST_F(EmapIndexerTest, EmptyFolderLeavesEveryRowUnreferenced) {
    SetRows({{"8", "a.png"}});
    EXPECT_EQ(Run(), 1);
    EXPECT_EQ(Statements(), Lines({Query(0, kEmapSelect), Deletion("8")}));
}

TEST_F(EmapIndexerTest, MissingFolderLeavesEveryRowUnreferenced) {
    libc.redirection.second = Path("missing");
    SetRows({{"8", "a.png"}});

    EXPECT_EQ(Run(), 1);

    EXPECT_EQ(Statements(), Lines({Query(0, kEmapSelect), Deletion("8")}));
    EXPECT_EQ(platform.LinesOf("KRPrintf(0, reindex, error"),
              Lines({Log("error", "indexer", "ProcessDirAndFiles",
                         "Failed to opendir [/var/packages/Kestora/target/@KREmap] with errno "
                         "[2].\n")}));
}

TEST_F(EmapIndexerTest, FilesInSubfoldersAreIgnored) {
    MakeFile("emap/sub/a.png");
    SetRows({{"8", "a.png"}, {"9", "sub"}});
    EXPECT_EQ(Run(), 2);
}

TEST_F(EmapIndexerTest, ChangeAfterTheStartDoesNotMatter) {
    libc.clock = timespec{1, 0};
    MakeFile("emap/a.png");
    SetRows({{"8", "a.png"}});

    EXPECT_EQ(Run(), 0);
}

TEST_F(EmapIndexerTest, RunThatRemovesNothingLogsOnlyItsCompletion) {
    LogUpTo(LOG_LEVEL_INFO);
    MakeFile("emap/a.png");
    SetRows({{"8", "a.png"}});

    EXPECT_EQ(Run(), 0);

    EXPECT_EQ(Messages(),
              Lines({Log("info", "emapindexer", "Log", "Reindex emap data complete.\n")}));
}

TEST_F(EmapIndexerTest, FailedDeletionIsCountedAndReportedAsRemoved) {
    LogUpTo(LOG_LEVEL_INFO);
    SetRows({{"8", "a.png"}});
    platform.Fail("Execute", 2);

    EXPECT_EQ(Run(), 1);

    EXPECT_EQ(
        Messages(),
        Lines({
            Log("error", "indexer", "RemoveUnrefRecs", "Failed to remove unreference records.\n"),
            Log("info", "emapindexer", "Log", "Reindex emap data complete.\n"),
            Log("notice", "emapindexer", "Log", "Have removed [1] unreferenced emap records.\n"),
        }));
}

class OpenedEmapTest : public EmapIndexerTest {
protected:
    Opened<KRIndex::EmapIndexer> m_indexer{KRIndex::IndexerDbInfo{KRDB::DB_SYSTEM, gszTableEmap}};
};

TEST_F(OpenedEmapTest, WalksOneFixedFolder) {
    EXPECT_EQ(m_indexer.InitTgtDirList(), 0);
    EXPECT_EQ(m_indexer.m_tgtDirList, std::list<std::string>{kEmapDir});
    EXPECT_EQ(Transcript(), ""); // neither the platform nor the disk is asked for the folder
}

TEST_F(OpenedEmapTest, ProcessFileAlwaysReturnsZero) {
    const struct stat64 st = {};
    m_indexer.m_fileRecIdMap = {{"row.png", 1}};
    for (const char* name : {"thumb_a.png", "row.png", "new.png"}) {
        EXPECT_EQ(m_indexer.ProcessFile(Path(name), name, st), 0) << name;
    }
    EXPECT_TRUE(m_indexer.m_fileRecIdMap.empty());
}

TEST_F(OpenedEmapTest, EmptyMapKeepsTheCounterOfRemovedRecords) {
    m_indexer.m_rmCnt = 3;
    m_indexer.RemoveUnrefRecs();
    EXPECT_EQ(m_indexer.m_rmCnt, 3);
}

} // namespace
} // namespace unit
