#include "platform/recording.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/permissions.h"

#include <filesystem>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// In both tables, camera 1 has rows 1 and 2 in one half-day folder and row 3 in another; camera 2
// has row 4.
class RecordingRemoval : public contract::ContractTest {
protected:
    RecordingRemoval() {
        world::AddCamera({.id = 1, .storagePath = MakeFolder("one")});
        world::AddCamera({.id = 2, .storagePath = MakeFolder("two")});
        MakeFolder("one/20140312AM");
        MakeFolder("one/laRec/20140312AM");
        for (const char* const table : {"event", "alert_event"}) {
            PutRows("(1, 1, '20140312AM/a'), (2, 1, '20140312AM/b'), "
                    "(3, 1, '20140312PM/c'), (4, 2, '20140312AM/d')",
                    table);
        }
    }

    static std::vector<std::string> Ids(const std::string& table) {
        std::vector<std::string> ids;
        for (const world::Row& row :
             world::Read(KRDB::DB_RECORDING, "SELECT id FROM " + table + " ORDER BY id;")) {
            ids.push_back(row.front().value());
        }
        return ids;
    }

    static void PutRows(const std::string& values, const std::string& table = "event") {
        world::Write(KRDB::DB_RECORDING,
                     "INSERT INTO " + table + " (id, camera_id, path) VALUES " + values + ";");
    }

    static int Delete(const std::string& idList, int limit = 0) {
        EventFilterParam filter;
        filter.limit = limit;
        filter.idList = idList;
        return DelUnrefRecsFromDB(filter);
    }

    static void ExpectNothingDeleted() {
        EXPECT_THAT(Ids("event"), SizeIs(testing::Ge(4U)));
        EXPECT_THAT(world::Log(), SizeIs(testing::Ge(1U)));
    }
};

class RecordingAlertRemoval : public RecordingRemoval {};

TEST_F(RecordingRemoval, DeletesTheRowsThatTheFilterSelects) {
    EXPECT_EQ(Delete("1,3"), 0);

    EXPECT_THAT(Ids("event"), ElementsAre("2", "4"));
    EXPECT_THAT(Ids("alert_event"), SizeIs(4));
    EXPECT_THAT(world::Log(), IsEmpty());
}

TEST_F(RecordingRemoval, DeletesTheRowsOfSeveralCameras) {
    EXPECT_EQ(Delete("1,2,3,4"), 0);

    EXPECT_THAT(Ids("event"), IsEmpty());
}

TEST_F(RecordingRemoval, DeletesNothingForAnEmptyList) {
    EXPECT_EQ(Delete(""), 0);

    EXPECT_THAT(Ids("event"), SizeIs(4));
}

TEST_F(RecordingRemoval, SucceedsForRowsThatDoNotExist) {
    EXPECT_EQ(Delete("1,77,2147483647"), 0);

    EXPECT_THAT(Ids("event"), ElementsAre("2", "3", "4"));
}

TEST_F(RecordingRemoval, RefusesAFilterWithALimit) {
    EXPECT_NE(Delete("1", 1), 0);
    EXPECT_NE(Delete("1", 1000), 0);
    EXPECT_NE(Delete("1", EventFilterParam().limit), 0);

    ExpectNothingDeleted();
}

TEST_F(RecordingRemoval, RefusesAListThatContainsAnythingButIds) {
    for (const char* const list : {"1) OR (1=1", "SELECT id FROM event", "1;DELETE FROM event",
                                   "-1 OR 1", "1,,2", ",1", "1,", "1 2"}) {
        EXPECT_NE(Delete(list), 0) << list;
    }

    ExpectNothingDeleted();
}

TEST_F(RecordingRemoval, DeletesNothingIfAFileExists) {
    contract::PutFile(Scratch("one/20140312AM/a"));

    EXPECT_NE(Delete("1,3"), 0);

    ExpectNothingDeleted();
    EXPECT_THAT(LogLinesWith(Scratch("one/20140312AM/a")), SizeIs(1));
    EXPECT_TRUE(std::filesystem::exists(Scratch("one/20140312AM/a")));
}

TEST_F(RecordingRemoval, IgnoresFilesOfAnotherNameFolderOrKind) {
    contract::PutFile(Scratch("one/20140312AM/A"));
    contract::PutFile(Scratch("two/20140312AM/a"));
    contract::PutFile(Scratch("one/20140312PM/a"));
    contract::PutFile(Scratch("one/laRec/20140312AM/a"));
    MakeFolder("one/20140312AM/b");

    EXPECT_EQ(Delete("1,2"), 0);

    EXPECT_THAT(Ids("event"), ElementsAre("3", "4"));
}

TEST_F(RecordingRemoval, IgnoresFilesOutsideHalfDayFolders) {
    PutRows("(9, 1, 'copies/e')");
    contract::PutFile(Scratch("one/copies/e"));

    EXPECT_EQ(Delete("9"), 0);

    EXPECT_THAT(Ids("event"), SizeIs(4));
}

TEST_F(RecordingRemoval, DeletesNothingIfAHalfDayFolderIsALink) {
    MakeFolder("empty");
    std::filesystem::create_directory_symlink(Scratch("empty"), Scratch("one/20140312PM"));

    EXPECT_NE(Delete("1,3"), 0);

    ExpectNothingDeleted();
    EXPECT_THAT(LogLinesWith(Scratch("one/20140312PM") + ": it is a symbolic link"), SizeIs(1));
}

TEST_F(RecordingRemoval, DeletesNothingIfARowNamesAFolderInALinkedHalfDayFolder) {
    PutRows("(9, 1, '20140312PM/deeper/e')");
    MakeFolder("elsewhere/deeper");
    std::filesystem::create_directory_symlink(Scratch("elsewhere"), Scratch("one/20140312PM"));

    EXPECT_NE(Delete("9"), 0);

    EXPECT_THAT(Ids("event"), SizeIs(5));
}

TEST_F(RecordingRemoval, DeletesNothingIfALinkHasTheNameOfAFile) {
    contract::PutFile(Scratch("elsewhere/target"));
    std::filesystem::create_symlink(Scratch("elsewhere/target"), Scratch("one/20140312AM/a"));
    std::filesystem::create_symlink("nowhere", Scratch("one/20140312AM/other"));

    EXPECT_NE(Delete("1,3"), 0);

    ExpectNothingDeleted();
    EXPECT_THAT(LogLinesWith("the symbolic link " + Scratch("one/20140312AM/a") + " exists"),
                SizeIs(1));
    EXPECT_EQ(Delete("3"), 0);
}

TEST_F(RecordingRemoval, IgnoresFilesBehindALinkThatIsNoHalfDayFolder) {
    PutRows("(9, 1, 'copies/e')");
    contract::PutFile(Scratch("elsewhere/e"));
    std::filesystem::create_directory_symlink(Scratch("elsewhere"), Scratch("one/copies"));

    EXPECT_EQ(Delete("9"), 0);

    EXPECT_THAT(Ids("event"), SizeIs(4));
}

TEST_F(RecordingRemoval, DeletesTheRowsOfAFolderThatDoesNotExist) {
    EXPECT_EQ(Delete("3"), 0);

    EXPECT_THAT(Ids("event"), ElementsAre("1", "2", "4"));
}

TEST_F(RecordingRemoval, DeletesNothingIfAHalfDayFolderCantBeRead) {
    const contract::ObeyPermissions unprivileged;
    const contract::UnreadableFolder unreadable(Scratch("one/20140312AM"));

    EXPECT_NE(Delete("3,1"), 0);

    ExpectNothingDeleted();
    EXPECT_THAT(LogLinesWith(Scratch("one/20140312AM")), SizeIs(1));
}

TEST_F(RecordingRemoval, DeletesNothingIfTheStorageFolderCantBeRead) {
    const contract::ObeyPermissions unprivileged;
    const contract::UnreadableFolder unreadable(Scratch("one"));

    EXPECT_NE(Delete("1,4"), 0);

    ExpectNothingDeleted();
}

TEST_F(RecordingRemoval, DeletesNothingIfAHalfDayFolderIsAFile) {
    contract::PutFile(Scratch("one/20140312PM"));

    EXPECT_NE(Delete("1,3"), 0);

    ExpectNothingDeleted();
}

TEST_F(RecordingRemoval, IgnoresAnUnreadableFolderThatNoRowNames) {
    MakeFolder("one/20140313AM");
    const contract::ObeyPermissions unprivileged;
    const contract::UnreadableFolder unreadable(Scratch("one/20140313AM"));

    EXPECT_EQ(Delete("1"), 0);

    EXPECT_THAT(Ids("event"), ElementsAre("2", "3", "4"));
}

TEST_F(RecordingRemoval, DeletesNothingIfACameraDoesNotLoad) {
    PutRows("(9, 3, '20140312AM/e')");

    EXPECT_NE(Delete("1,9"), 0);

    ExpectNothingDeleted();
    EXPECT_THAT(Ids("event"), SizeIs(5));
}

TEST_F(RecordingRemoval, ComparesCameraIdsInAllTheirBits) {
    PutRows("(9, 4294967297, '20140312AM/e')");

    EXPECT_NE(Delete("9"), 0);

    EXPECT_THAT(Ids("event"), SizeIs(5));
}

TEST_F(RecordingRemoval, DeletesNothingOnAnotherVolume) {
    contract::PutFile(Scratch("three/.kestora-volume"), "00000000-0000-4000-8000-000000000000\n");
    world::AddCamera({.id = 3,
                      .storagePath = Scratch("three"),
                      .volumeId = "5e1f0e9c-6a2b-4f38-9a10-1f6d1c9a7b55"});
    PutRows("(9, 3, '20140312AM/e')");

    EXPECT_NE(Delete("9"), 0);

    EXPECT_THAT(Ids("event"), SizeIs(5));
}

TEST_F(RecordingRemoval, DeletesARowWithoutAPath) {
    PutRows("(9, 1, NULL)");

    EXPECT_EQ(Delete("9"), 0);

    EXPECT_THAT(Ids("event"), SizeIs(4));
}

TEST_F(RecordingRemoval, DeletesAllRowsOrNone) {
    world::RefuseRows(KRDB::DB_RECORDING, "event", 2);

    EXPECT_NE(Delete("1,2,3,4"), 0);

    ExpectNothingDeleted();
}

TEST_F(RecordingRemoval, DeletesThousandsOfRows) {
    world::Write(KRDB::DB_RECORDING,
                 "WITH RECURSIVE n(i) AS (SELECT 5 UNION ALL SELECT i + 1 FROM n WHERE i < 5000) "
                 "INSERT INTO event (id, camera_id, path) SELECT i, 1, '20140312AM/' || i FROM n;");
    std::string ids = "1";
    for (int id = 5; id <= 5000; ++id) {
        ids += "," + std::to_string(id);
    }

    EXPECT_EQ(Delete(ids), 0);

    EXPECT_THAT(Ids("event"), ElementsAre("2", "3", "4"));
}

TEST_F(RecordingAlertRemoval, DeletesTheCamerasRows) {
    EXPECT_EQ(AlertDelUnrefRecsFromDB({1, 3}, 1), 0);

    EXPECT_THAT(Ids("alert_event"), ElementsAre("2", "4"));
    EXPECT_THAT(Ids("event"), SizeIs(4));
}

TEST_F(RecordingAlertRemoval, LeavesTheRowsOfOtherCameras) {
    EXPECT_EQ(AlertDelUnrefRecsFromDB({1, 4}, 1), 0);

    EXPECT_THAT(Ids("alert_event"), ElementsAre("2", "3", "4"));
}

TEST_F(RecordingAlertRemoval, SucceedsThoughAnotherCameraIsUnknown) {
    PutRows("(9, 3, 'x/e')", "alert_event");

    EXPECT_EQ(AlertDelUnrefRecsFromDB({1, 9}, 1), 0);

    EXPECT_THAT(Ids("alert_event"), ElementsAre("2", "3", "4", "9"));
}

TEST_F(RecordingAlertRemoval, DeletesNothingForAnEmptyList) {
    EXPECT_EQ(AlertDelUnrefRecsFromDB({}, 1), 0);

    EXPECT_THAT(Ids("alert_event"), SizeIs(4));
}

TEST_F(RecordingAlertRemoval, DeletesNothingIfAHalfDayFolderCantBeRead) {
    const contract::ObeyPermissions unprivileged;
    const contract::UnreadableFolder unreadable(Scratch("one/laRec/20140312AM"));

    EXPECT_NE(AlertDelUnrefRecsFromDB({1, 3}, 1), 0);

    EXPECT_THAT(Ids("alert_event"), SizeIs(4));
    EXPECT_THAT(world::Log(), SizeIs(1));
}

TEST_F(RecordingAlertRemoval, DeletesNothingIfAFileExists) {
    contract::PutFile(Scratch("one/laRec/20140312AM/a"));

    EXPECT_NE(AlertDelUnrefRecsFromDB({1, 3}, 1), 0);

    EXPECT_THAT(Ids("alert_event"), SizeIs(4));
}

TEST_F(RecordingAlertRemoval, DeletesNothingIfTheCameraDoesNotLoad) {
    PutRows("(9, 3, 'x/e')", "alert_event");

    EXPECT_NE(AlertDelUnrefRecsFromDB({9}, 3), 0);

    EXPECT_THAT(Ids("alert_event"), SizeIs(5));
}

TEST_F(RecordingAlertRemoval, DeletesNothingIfTheCameraTableIsDamaged) {
    world::DamageDatabase(KRDB::DB_SYSTEM);

    EXPECT_NE(AlertDelUnrefRecsFromDB({1, 2}, 1), 0);

    EXPECT_THAT(Ids("alert_event"), SizeIs(4));
}

} // namespace
