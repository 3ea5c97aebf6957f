#include "recorder/database/databases.h"
#include "recorder/database/resultset.h"
#include "recorder/database/schema.h"
#include "recorder/database/sqlite.h"
#include "recorder/database/sqltext.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"
#include "tests/recorder/support/failure.h"

#include <array>
#include <chrono>
#include <filesystem>
#include <optional>
#include <system_error>

namespace {

using recorder::Execute;
using testing::ElementsAre;
using testing::HasSubstr;

class DatabasePause : public contract::ContractTest {};

class DatabaseSchema : public contract::ContractTest {
protected:
    static std::string FailureToExecute(KRDB::DB_INSTANCE db, const std::string& sql) {
        return support::FailureOf([&] { Execute(db, sql); });
    }
};

// The number of descriptors of this process that refer to the file at `path`.
int OpenFilesAt(const std::string& path) {
    int count = 0;
    for (const auto& file : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code closed; // the descriptor of the folder itself
        count += std::filesystem::read_symlink(file.path(), closed) == path ? 1 : 0;
    }
    return count;
}

TEST(DatabaseQuote, DoublesOnlyQuotes) {
    EXPECT_EQ(recorder::Quote(""), "''");
    EXPECT_EQ(recorder::Quote("plain"), "'plain'");
    EXPECT_EQ(recorder::Quote("'"), "''''");
    EXPECT_EQ(recorder::Quote("a'b''c"), "'a''b''''c'");
    EXPECT_EQ(recorder::Quote("\\ \" \n\r\t %s ?"), "'\\ \" \n\r\t %s ?'");
    EXPECT_EQ(recorder::Quote("\xff\x80"), "'\xff\x80'");
}

TEST(DatabaseRows, AreEmptyAtFirst) {
    const DBResult_tag rows;

    EXPECT_EQ(rows.RowCount(), 0);
    EXPECT_FALSE(rows.ColumnIndex("id").has_value());
}

TEST(DatabaseRows, KeepFieldsInOrder) {
    DBResult_tag rows;
    rows.columns = {"id", "path"};
    rows.AppendField("1");
    rows.AppendField("");
    rows.AppendField("2");
    rows.AppendNull();

    ASSERT_EQ(rows.RowCount(), 2);
    EXPECT_EQ(rows.ColumnIndex("id"), 0U);
    EXPECT_EQ(rows.ColumnIndex("path"), 1U);
    EXPECT_EQ(rows.ColumnIndex("PATH"), std::nullopt);
    EXPECT_STREQ(rows.Field(0, 0), "1");
    EXPECT_STREQ(rows.Field(0, 1), "");
    EXPECT_STREQ(rows.Field(1, 0), "2");
    EXPECT_EQ(rows.Field(1, 1), nullptr);
}

TEST(DatabaseRows, CanBeOfAnyNumberAndSize) {
    constexpr int kRows = 20000;
    static constexpr std::size_t kLongest = 9000;
    const auto lengthOf = [](int row) {
        return row % 2 == 0 ? 0 : std::min(static_cast<std::size_t>(row), kLongest);
    };
    DBResult_tag rows;
    rows.columns = {"id", "path"};
    for (int row = 0; row < kRows; ++row) {
        rows.AppendField(std::to_string(row));
        rows.AppendField(std::string(lengthOf(row), 'x'));
    }

    ASSERT_EQ(rows.RowCount(), kRows);
    for (int row = kRows - 1; row >= 0; --row) {
        ASSERT_EQ(rows.Field(row, 0), std::to_string(row));
        ASSERT_EQ(std::string_view(rows.Field(row, 1)).size(), lengthOf(row));
    }
}

TEST(DatabaseRows, ReleaseTheMemoryOfRowsThatWereLeftBehind) {
    constexpr int kRows = 100000;
    DBResult_tag rows;
    rows.columns = {"path"};
    for (int row = 0; row < kRows; ++row) {
        rows.AppendField("20140312AM/a recording.mp4");
    }

    rows.LeaveBehind(kRows - 1);

    EXPECT_EQ(rows.Field(0, 0), nullptr);
    EXPECT_STREQ(rows.Field(kRows - 1, 0), "20140312AM/a recording.mp4");
    EXPECT_EQ(rows.RowCount(), kRows);
}

TEST(DatabaseRows, CountOnlyCompleteRows) {
    DBResult_tag rows;
    rows.columns = {"id", "path"};
    rows.AppendField("1");

    EXPECT_EQ(rows.RowCount(), 0);
}

// Another process that has opened a database and does nothing.
class OtherProcess {
public:
    explicit OtherProcess(KRDB::DB_INSTANCE db)
        : m_child([&] {
              Execute(db, "SELECT 1;");
              m_open.Open();
              return m_end.Await() ? 0 : 1;
          }) {
        EXPECT_TRUE(m_open.Await());
    }

    void End() {
        m_end.Open();
        EXPECT_EQ(m_child.Wait(), 0);
    }

private:
    contract::Gate m_open;
    contract::Gate m_end;
    contract::Child m_child;
};

// True if LetOthersWrite returns before a pause would have ended in one of 20 attempts. On a busy
// machine a single attempt may take longer than that without a pause.
bool ContinuesAtOnce() {
    using Clock = std::chrono::steady_clock;
    constexpr int kAttempts = 20;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const Clock::time_point start = Clock::now();
        Execute(KRDB::DB_SYSTEM, "INSERT INTO emap (filename) VALUES ('a');");
        recorder::LetOthersWrite(KRDB::DB_SYSTEM);
        if (Clock::now() - start <= std::chrono::milliseconds(25)) {
            return true;
        }
    }
    return false;
}

// A process that waits for SQLite's write lock tries again after 25 ms at first.
TEST_F(DatabasePause, IsLongEnoughForAnAttemptOfAnotherWriter) {
    OtherProcess other(KRDB::DB_SYSTEM);

    EXPECT_FALSE(ContinuesAtOnce());
}

TEST_F(DatabasePause, IsMadeForAWriterThatOpensTheDatabaseLater) {
    EXPECT_TRUE(ContinuesAtOnce());
    OtherProcess other(KRDB::DB_SYSTEM);

    EXPECT_FALSE(ContinuesAtOnce());
}

TEST_F(DatabasePause, IsNotMadeIfNoOtherProcessHasTheDatabaseOpen) {
    OtherProcess(KRDB::DB_SYSTEM).End();
    OtherProcess other(KRDB::DB_SNAPSHOT);

    EXPECT_TRUE(ContinuesAtOnce());
}

TEST_F(DatabaseSchema, HasAFileForEachDatabase) {
    EXPECT_EQ(recorder::DatabasePath(KRDB::DB_SYSTEM), "/var/packages/Kestora/var/db/system.db");
    EXPECT_EQ(recorder::DatabasePath(KRDB::DB_RECORDING),
              "/var/packages/Kestora/var/db/recording.db");
    EXPECT_EQ(recorder::DatabasePath(KRDB::DB_SNAPSHOT),
              "/var/packages/Kestora/var/db/snapshot.db");
    EXPECT_THROW((void)recorder::DatabasePath(KRDB::DB_NONE), recorder::Error);
    EXPECT_THROW((void)recorder::DatabasePath(static_cast<KRDB::DB_INSTANCE>(1)), recorder::Error);
}

TEST_F(DatabaseSchema, IsCreatedIfItIsMissing) {
    std::filesystem::remove_all(recorder::kDatabaseDir);

    recorder::InitDatabases();

    Execute(KRDB::DB_SYSTEM, "SELECT id, name, ds_id, storage_path, volume_id FROM camera;");
    Execute(KRDB::DB_SYSTEM, "SELECT id, filename FROM emap;");
    Execute(KRDB::DB_SNAPSHOT, "SELECT id, filename, start_tm, size FROM snapshot;");
    for (const char* const table : {"event", "alert_event"}) {
        Execute(KRDB::DB_RECORDING, std::string("SELECT id, ds_id, camera_id, path, start_tm, "
                                                "end_tm, size, vdo_type, aud_fmt, img_w, img_h "
                                                "FROM ") +
                                        table + ";");
    }
    Execute(KRDB::DB_RECORDING, "SELECT alert_event_type, device_type FROM alert_event;");
    Execute(KRDB::DB_RECORDING, "SELECT camera_id, day, count FROM recording_count;");
}

TEST_F(DatabaseSchema, NamesTheFolderThatCantBeCreated) {
    std::filesystem::remove_all(recorder::kDatabaseDir);
    contract::PutFile(recorder::kDatabaseDir, "in the way");

    EXPECT_THAT(support::FailureOf([] { recorder::InitDatabases(); }),
                HasSubstr(std::string("can't create the folder ") + recorder::kDatabaseDir + ": "));
    std::filesystem::remove(recorder::kDatabaseDir);
}

TEST_F(DatabaseSchema, RefusesTwoCamerasWithOneUuid) {
    const auto insert = [](int id, const std::string& uuid) {
        return "INSERT INTO camera (id, name, storage_path, uuid) VALUES (" + std::to_string(id) +
               ", 'a', '/a', " + uuid + ");";
    };
    Execute(KRDB::DB_SYSTEM, insert(1, "'0a'") + insert(2, "NULL") + insert(3, "NULL"));

    EXPECT_THAT(FailureToExecute(KRDB::DB_SYSTEM, insert(4, "'0a'")), HasSubstr("uuid"));
    EXPECT_THAT(FailureToExecute(KRDB::DB_SYSTEM, "UPDATE camera SET uuid = '0a' WHERE id = 2;"),
                HasSubstr("uuid"));
}

TEST_F(DatabaseSchema, KeepsExistingRows) {
    Execute(KRDB::DB_SYSTEM, "INSERT INTO emap (id, filename) VALUES (7, 'a');");

    recorder::InitDatabases();

    EXPECT_THAT(world::Read(KRDB::DB_SYSTEM, "SELECT id, filename FROM emap;"),
                ElementsAre(world::Row{"7", "a"}));
}

// Two imaginary schema versions after this program's.
constexpr std::array kLaterSteps{
    recorder::SchemaStep{
        recorder::kSchemaVersion + 1, KRDB::DB_SNAPSHOT,
        "ALTER TABLE snapshot ADD COLUMN taken_by TEXT NOT NULL DEFAULT 'nobody';"},
    recorder::SchemaStep{recorder::kSchemaVersion + 1, KRDB::DB_SYSTEM,
                         "ALTER TABLE emap ADD COLUMN floor INTEGER;"},
    recorder::SchemaStep{recorder::kSchemaVersion + 1, std::nullopt,
                         "CREATE TABLE everywhere (id INTEGER PRIMARY KEY);"},
    recorder::SchemaStep{recorder::kSchemaVersion + 1, std::nullopt, "no SQL of this engine;",
                         true},
    recorder::SchemaStep{recorder::kSchemaVersion + 2, KRDB::DB_SNAPSHOT,
                         "UPDATE snapshot SET taken_by = 'somebody';"},
};

recorder::SqliteDatabase OpenSnapshots() {
    recorder::CloseDatabases();
    return recorder::SqliteDatabase::Create(recorder::DatabasePath(KRDB::DB_SNAPSHOT), 1000);
}

TEST_F(DatabaseSchema, IsUpgradedStepByStep) {
    Execute(KRDB::DB_SNAPSHOT, "INSERT INTO snapshot (id, filename) VALUES (7, 'a.jpg');");
    recorder::SqliteDatabase database = OpenSnapshots();

    recorder::ApplySchemaSteps(database, {KRDB::DB_SNAPSHOT}, kLaterSteps,
                               recorder::kSchemaVersion + 1);

    EXPECT_EQ(database.SchemaVersion(), recorder::kSchemaVersion + 1);
    EXPECT_STREQ(database.Execute("SELECT taken_by FROM snapshot WHERE id = 7;").Field(0, 0),
                 "nobody");
    EXPECT_EQ(database.Execute("SELECT id FROM everywhere;").RowCount(), 0);

    recorder::ApplySchemaSteps(database, {KRDB::DB_SNAPSHOT}, kLaterSteps,
                               recorder::kSchemaVersion + 2);

    EXPECT_EQ(database.SchemaVersion(), recorder::kSchemaVersion + 2);
    EXPECT_STREQ(database.Execute("SELECT taken_by FROM snapshot WHERE id = 7;").Field(0, 0),
                 "somebody");
}

TEST_F(DatabaseSchema, IsUnchangedIfAStepOfItsUpgradeFails) {
    recorder::SqliteDatabase database = OpenSnapshots();
    const std::array steps{
        recorder::SchemaStep{recorder::kSchemaVersion + 1, std::nullopt, "CREATE TABLE half (id);"},
        recorder::SchemaStep{recorder::kSchemaVersion + 1, std::nullopt, "no SQL;"},
    };

    EXPECT_THROW(recorder::ApplySchemaSteps(database, {KRDB::DB_SNAPSHOT}, steps,
                                            recorder::kSchemaVersion + 1),
                 recorder::Error);

    EXPECT_EQ(database.SchemaVersion(), recorder::kSchemaVersion);
    EXPECT_EQ(database.Execute("SELECT name FROM sqlite_master WHERE name = 'half';").RowCount(),
              0);
}

TEST_F(DatabaseSchema, RefusesAnotherVersion) {
    world::Write(KRDB::DB_SYSTEM, "PRAGMA user_version = 2;");

    const std::string failure = FailureToExecute(KRDB::DB_SYSTEM, "SELECT 1;");

    EXPECT_THAT(failure, HasSubstr("/var/packages/Kestora/var/db/system.db"));
    EXPECT_THAT(failure, HasSubstr("schema version 2; expected 1"));
    EXPECT_THROW(recorder::InitDatabases(), recorder::Error);
}

TEST_F(DatabaseSchema, RefusesADatabaseWithoutTables) {
    recorder::CloseDatabases();
    contract::PutFile(recorder::DatabasePath(KRDB::DB_SNAPSHOT), "");

    EXPECT_THAT(FailureToExecute(KRDB::DB_SNAPSHOT, "SELECT 1;"), HasSubstr("schema version 0"));
}

TEST_F(DatabaseSchema, DoesNotCreateADatabaseByOpeningIt) {
    const std::string path = recorder::DatabasePath(KRDB::DB_SNAPSHOT);
    recorder::CloseDatabases();
    std::filesystem::remove(path);

    EXPECT_THAT(FailureToExecute(KRDB::DB_SNAPSHOT, "SELECT 1;"), HasSubstr(path));

    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(DatabaseSchema, IsClosedInAForkedProcess) {
    const std::string path = recorder::DatabasePath(KRDB::DB_SYSTEM);
    Execute(KRDB::DB_SYSTEM, "SELECT 1;");
    ASSERT_EQ(OpenFilesAt(path), 1);

    contract::Child child([&] { return OpenFilesAt(path); });

    EXPECT_EQ(child.Wait(), 0);
    EXPECT_EQ(FailureToExecute(KRDB::DB_SYSTEM, "SELECT 1;"), "none");
}

TEST_F(DatabaseSchema, AcceptsOnlyIdsOf31Bits) {
    struct Table {
        KRDB::DB_INSTANCE db;
        const char* insert;
    };
    for (const Table& table :
         {Table{KRDB::DB_SYSTEM, "camera (name, storage_path, id) VALUES ('', '', "},
          Table{KRDB::DB_SYSTEM, "emap (id) VALUES ("},
          Table{KRDB::DB_SNAPSHOT, "snapshot (id) VALUES ("},
          Table{KRDB::DB_RECORDING, "event (camera_id, id) VALUES (1, "},
          Table{KRDB::DB_RECORDING, "alert_event (camera_id, id) VALUES (1, "}}) {
        const auto insert = [&](const char* id) {
            return FailureToExecute(table.db,
                                    std::string("INSERT INTO ") + table.insert + id + ");");
        };
        EXPECT_NE(insert("0"), "none") << table.insert;
        EXPECT_NE(insert("-1"), "none") << table.insert;
        EXPECT_NE(insert("2147483648"), "none") << table.insert;
        EXPECT_EQ(insert("2147483647"), "none") << table.insert;
        EXPECT_EQ(insert("1"), "none") << table.insert;
    }
}

TEST_F(DatabaseSchema, NeverUsesAnIdTwice) {
    Execute(KRDB::DB_RECORDING, "INSERT INTO event (camera_id, path) VALUES (1, 'a');"
                                "DELETE FROM event;"
                                "INSERT INTO event (camera_id, path) VALUES (1, 'b');");

    EXPECT_THAT(world::Read(KRDB::DB_RECORDING, "SELECT id FROM event;"),
                ElementsAre(world::Row{"2"}));
}

} // namespace
