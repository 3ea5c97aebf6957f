#include "platform/database.h"
#include "platform/snapshot.h"
#include "tests/contract/support/execute.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SnapshotRow : public contract::ContractTest {
protected:
    static int Store(const std::string& sql) { return contract::Execute(KRDB::DB_SNAPSHOT, sql); }

    static std::vector<world::Row> Rows() {
        return world::Read(KRDB::DB_SNAPSHOT,
                           "SELECT id, filename, start_tm, size FROM snapshot ORDER BY id;");
    }
};

class SnapshotFolder : public contract::ContractTest {};

const contract::Probe kFolder("snapshot folder", GetSnapshotFullPath);

TEST_F(SnapshotRow, IsStoredByItsStatement) {
    ASSERT_EQ(Store(ReindexSnapshotSql("/snap/a.jpg", "a.jpg", 1394589600, 4711)), 0);

    EXPECT_THAT(Rows(), ElementsAre(world::Row{"1", "a.jpg", "1394589600", "4711"}));
}

TEST_F(SnapshotRow, KeepsItsIdWhenItIsUpdated) {
    ASSERT_EQ(Store(ReindexSnapshotSql("/snap/a.jpg", "a.jpg", 1, 2)), 0);

    ASSERT_EQ(Store(ReindexSnapshotSql("/snap/a.jpg", "a.jpg", 3, 2147483647)), 0);

    EXPECT_THAT(Rows(), ElementsAre(world::Row{"1", "a.jpg", "3", "2147483647"}));
}

TEST_F(SnapshotRow, CanBeStoredWithThousandsOfOthers) {
    std::string sql;
    for (int i = 1; i <= 2000; ++i) {
        sql += ReindexSnapshotSql("/snap/x", std::to_string(i), i, i);
    }

    ASSERT_EQ(Store(sql), 0);

    ASSERT_THAT(Rows(), SizeIs(2000));
    EXPECT_EQ(Rows().back(), (world::Row{"2000", "2000", "2000", "2000"}));
}

TEST_F(SnapshotRow, StoresHostileNamesUnchanged) {
    std::string sql;
    for (const std::string& name : contract::HostileNames()) {
        sql += ReindexSnapshotSql("/snap/" + name, name, 0, 0);
    }

    ASSERT_EQ(Store(sql), 0);

    std::vector<std::string> names;
    for (const world::Row& row : Rows()) {
        names.push_back(row.at(1).value());
    }
    EXPECT_THAT(names, testing::ElementsAreArray(contract::HostileNames()));
}

TEST_F(SnapshotRow, ReturnsNoResultRow) {
    const contract::Rows rows(ReindexSnapshotSql("/s/a", "a", 1, 1), KRDB::DB_SNAPSHOT);

    EXPECT_THAT(rows.Column("id"), IsEmpty());
}

TEST_F(SnapshotFolder, ComesFromTheSettings) {
    world::PutSettings("[snapshot]\nfolder = \"/volume2/snap shots/\"\n");

    EXPECT_EQ(kFolder.Run(), "/volume2/snap shots");
}

TEST_F(SnapshotFolder, IsAnAbsolutePathByDefault) {
    const std::string folder = kFolder.Run();

    EXPECT_TRUE(folder.starts_with("/")) << folder;
    EXPECT_FALSE(folder.ends_with("/")) << folder;
}

TEST_F(SnapshotFolder, IsEmptyAndTheReasonIsLoggedIfTheSettingsAreInvalid) {
    world::PutSettings("[snapshot]\nfolder = \"relative\"\n");

    EXPECT_EQ(kFolder.Run(), "");

    EXPECT_THAT(world::Log(), SizeIs(1));
}

TEST_F(SnapshotFolder, OfRecordingThumbnailsIsBelowTheStorageFolder) {
    EXPECT_EQ(GetRecThmbnailDirPath("/volume1/cam"), "/volume1/cam/@Thumbnail");
    EXPECT_THAT(world::Log(), IsEmpty());
}

} // namespace
