#include "driver/krreindex.h"

#include "indexer/indexer.h"
#include "tests/unit/support/allocations.h"
#include "tests/unit/support/platformtest.h"

#include <ostream>
#include <string_view>

namespace unit {
namespace {

class EntryFunctionTest : public PlatformTest {
protected:
    EntryFunctionTest() {
        MakeMediaFolders();
        AddCamera(5);
        MakeDir("cam5/laRec");
    }
    std::string Statements() const { return platform.LinesOf("Execute"); }
    std::string OwnMessages() const { return platform.MessagesOf("krreindex"); }
};

TEST(IndexerDbInfoTest, NamesNoDatabaseAndNoTableByDefault) {
    const KRIndex::IndexerDbInfo info;
    EXPECT_EQ(static_cast<int>(info.db), 15);
    EXPECT_EQ(info.table, "");
    EXPECT_EQ(info.idColumn, "id");
    EXPECT_EQ(info.pathColumn, "filename");
}

TEST_F(EntryFunctionTest, EmapTableIsInDatabaseZero) {
    EXPECT_EQ(ReindexEmap(), 0);
    EXPECT_EQ(Statements(), Lines({Query(0, "SELECT id as id, filename as path FROM emap;")}));
}

TEST_F(EntryFunctionTest, SnapshotTableIsInDatabaseEight) {
    EXPECT_EQ(ReindexSnapshot(), 0);
    EXPECT_EQ(Statements(), Lines({Query(8, "SELECT id as id, filename as path FROM snapshot;")}));
}

TEST_F(EntryFunctionTest, EventTableIsInDatabaseFourAndIsReadForTheCamera) {
    EXPECT_EQ(ReindexEvent(5), 0);

    EXPECT_EQ(Statements(),
              Lines({Query(4, "SELECT id as id, path as path FROM event WHERE camera_id = 5;")}));
    EXPECT_EQ(platform.LinesOf("Camera::Load"), "Camera::Load(5, 0, 0)\n");
    EXPECT_EQ(platform.LinesOf("IsExistDir"), "IsExistDir(\"DIR/cam5\")\n");
}

TEST_F(EntryFunctionTest, AlertEventTableIsInDatabaseFourAndIsReadForTheCamera) {
    EXPECT_EQ(ReindexAlertEvent(5), 0);

    EXPECT_EQ(
        Statements(),
        Lines({Query(4, "SELECT id as id, path as path FROM alert_event WHERE camera_id = 5;")}));
    EXPECT_EQ(platform.LinesOf("Camera::Load"), "Camera::Load(5, 0, 0)\n");
    EXPECT_EQ(platform.LinesOf("IsExistDir"), "IsExistDir(\"DIR/cam5/laRec\")\n");
}

TEST_F(EntryFunctionTest, ConsistentMediaAreNotLogged) {
    EXPECT_EQ(ReindexEmap(), 0);
    EXPECT_EQ(ReindexSnapshot(), 0);
    EXPECT_EQ(ReindexEvent(5), 0);
    EXPECT_EQ(ReindexAlertEvent(5), 0);
    EXPECT_EQ(OwnMessages(), "");
}

TEST_F(EntryFunctionTest, ReturnsTheResultOfTheIndexer) {
    const fakes::Rows rows = IdPathRows({{"1", "a"}, {"2", "b"}, {"3", "c"}});
    platform.queries[kEmapSelect] = rows;
    platform.queries[kSnapshotSelect] = rows;
    platform.queries[EventSelect(5)] = rows;
    platform.queries[AlertEventSelect(5)] = rows;
    EXPECT_EQ(ReindexEmap(), 3);
    EXPECT_EQ(ReindexSnapshot(), 3);
    EXPECT_EQ(ReindexEvent(5), 3);
    EXPECT_EQ(ReindexAlertEvent(5), 3);
}

TEST_F(EntryFunctionTest, FailedEmapIndexerIsLogged) {
    platform.Fail("Execute");

    EXPECT_EQ(ReindexEmap(), -1);

    EXPECT_EQ(OwnMessages(),
              Lines({Log("error", "krreindex", "ReindexEmap", "Failed to re-index emap.\n")}));
}

TEST_F(EntryFunctionTest, FailedSnapshotIndexerIsLogged) {
    platform.Fail("Execute");

    EXPECT_EQ(ReindexSnapshot(), -1);

    EXPECT_EQ(OwnMessages(), Lines({Log("error", "krreindex", "ReindexSnapshot",
                                        "Failed to re-index snapshot.\n")}));
}

TEST_F(EntryFunctionTest, CameraThatCannotBeLoadedIsLoggedForItsRecordings) {
    EXPECT_EQ(ReindexEvent(9), -1);

    EXPECT_EQ(OwnMessages(), Lines({Log("error", "krreindex", "ReindexEvent",
                                        "Failed to reindex event of cam [9].\n")}));
    EXPECT_EQ(Statements(), "");
}

TEST_F(EntryFunctionTest, CameraThatCannotBeLoadedIsLoggedForItsAlertRecordings) {
    EXPECT_EQ(ReindexAlertEvent(9), -1);

    EXPECT_EQ(OwnMessages(), Lines({Log("error", "krreindex", "ReindexAlertEvent",
                                        "Failed to reindex alert event of cam [9].\n")}));
    EXPECT_EQ(Statements(), "");
}

TEST_F(EntryFunctionTest, EachCallStartsWithANewIndexer) {
    platform.queries[EventSelect(5)] = IdPathRows({{"1", "a"}});
    EXPECT_EQ(ReindexEvent(5), 1);
    platform.queries[EventSelect(5)] = IdPathRows({});
    EXPECT_EQ(ReindexEvent(5), 0);
    EXPECT_EQ(platform.CallCnt("DelUnrefRecsFromDB"), 1);
}

struct EntryFunction {
    const char* name;
    int (*run)();
    const char* firstCall;
};

void PrintTo(const EntryFunction& function, std::ostream* out) {
    *out << function.name;
}

struct PlatformError {};

class EntryFunctionExceptionTest : public EntryFunctionTest,
                                   public testing::WithParamInterface<EntryFunction> {
protected:
    // Makes the next call of this operation throw.
    void ThrowFrom(const char* operation) {
        platform.beforeCall = [operation](std::string_view called) {
            if (called == operation) {
                throw PlatformError();
            }
        };
    }
};

TEST_P(EntryFunctionExceptionTest, FreesTheIndexer) {
    LogUpTo(0);
    ThrowFrom(GetParam().firstCall);
    const long before = LiveAllocationCnt();

    EXPECT_THROW(GetParam().run(), PlatformError);

    EXPECT_EQ(LiveAllocationCnt(), before);
    EXPECT_EQ(Messages(), "");
}

TEST_P(EntryFunctionExceptionTest, FreesTheRowsThatWereBeingRead) {
    ThrowFrom("KRDBFetchRow");

    EXPECT_THROW(GetParam().run(), PlatformError);

    EXPECT_EQ(platform.LiveResultCnt(), 0U);
    EXPECT_EQ(OwnMessages(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Functions, EntryFunctionExceptionTest,
    testing::Values(EntryFunction{"ReindexEmap", ReindexEmap, "StringPrintf"},
                    EntryFunction{"ReindexSnapshot", ReindexSnapshot, "GetSnapshotFullPath"},
                    EntryFunction{"ReindexEvent", [] { return ReindexEvent(5); }, "Camera::Load"},
                    EntryFunction{"ReindexAlertEvent", [] { return ReindexAlertEvent(5); },
                                  "Camera::Load"}),
    [](const auto& test) { return test.param.name; });

TEST_F(EntryFunctionTest, ExceptionDuringTheWalkClosesTheFolder) {
    MakeFile("cam5/20140312AM/20140312-101500-1394590500.mp4");
    platform.beforeCall = [](std::string_view called) {
        if (called == "GetEvtRecInfo") {
            throw PlatformError();
        }
    };

    EXPECT_THROW(ReindexEvent(5), PlatformError);

    EXPECT_EQ(platform.CallCnt("KRRegEx::IsMatch"), 1);
    EXPECT_EQ(libc.openDirCnt, 0);
}

} // namespace
} // namespace unit
