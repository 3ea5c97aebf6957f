#include "recorder/database/readonlydatabase.h"
#include "recorder/database/sqlite.h"
#include "recorder/database/sqlitefiles.h"
#include "recorder/support/uniquefd.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"
#include "tests/recorder/support/failure.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using contract::NamesIn;
using recorder::ReadOnlyDatabase;
using recorder::SqliteDatabase;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr int kLockTimeoutMs = 10000;

class ReadOnlyDatabaseTest : public contract::ContractTest {
protected:
    ReadOnlyDatabaseTest() {
        SqliteDatabase database = SqliteDatabase::Create(Path(), kLockTimeoutMs);
        database.Execute(
            "CREATE TABLE pair (a INTEGER, b INTEGER); INSERT INTO pair VALUES (1, 1);");
    }

    // The characters of the name have another meaning in a URI.
    static std::string Path() { return MakeFolder("databases") + "/a b%20c?mode=rwc#d.db"; }

    static bool HasOpen(pid_t process, const std::string& path) {
        std::error_code error;
        for (const auto& file : std::filesystem::directory_iterator(
                 "/proc/" + std::to_string(process) + "/fd", error)) {
            if (std::filesystem::read_symlink(file, error) == path) {
                return true;
            }
        }
        return false;
    }

    // How often this thread has given up the processor to wait for something.
    static long TimesAsleep() {
        struct rusage usage = {};
        getrusage(RUSAGE_THREAD, &usage);
        return usage.ru_nvcsw;
    }

    static std::string NumberIn(const std::string& select) {
        return ReadOnlyDatabase(Path(), kLockTimeoutMs).Execute(select).Field(0, 0);
    }

    static std::string FailureOf(const std::string& sql) {
        return support::FailureOf(
            [&] { ReadOnlyDatabase(Path(), kLockTimeoutMs).Execute(sql, {.transaction = false}); });
    }

    // Executes a statement in another process, and kills that process while the database is open.
    static void LeaveBehind(const std::string& sql) {
        contract::Gate done;
        contract::Child child([&] {
            SqliteDatabase database = SqliteDatabase::Open(Path(), kLockTimeoutMs);
            database.Execute(sql);
            done.Open();
            for (;;) {
                pause();
            }
            return 0;
        });
        ASSERT_TRUE(done.Await());
        child.Kill();
    }
};

TEST_F(ReadOnlyDatabaseTest, ReadsAnUnusedDatabaseWithoutCreatingAFile) {
    EXPECT_EQ(NumberIn("SELECT a FROM pair;"), "1");

    EXPECT_EQ(NamesIn(MakeFolder("databases")).size(), 1U);
}

TEST_F(ReadOnlyDatabaseTest, ReadsTheLogOfAKilledWriter) {
    LeaveBehind("UPDATE pair SET a = 2, b = 2;");

    EXPECT_EQ(NumberIn("SELECT a FROM pair;"), "2");

    EXPECT_EQ(NamesIn(MakeFolder("databases")).size(), 3U);
}

// SQLite would sleep 95 times, 10 s in all.
TEST_F(ReadOnlyDatabaseTest, DoesNotWaitForFramesOfALogThatAKilledWriterBegan) {
    LeaveBehind("UPDATE pair SET a = 2, b = 2;");
    constexpr int kLogHeaderBytes = 32;
    std::filesystem::resize_file(Path() + "-wal", kLogHeaderBytes);
    const long before = TimesAsleep();

    EXPECT_EQ(NumberIn("SELECT a FROM pair;"), "1");

    EXPECT_LT(TimesAsleep() - before, 60);
}

TEST_F(ReadOnlyDatabaseTest, ReadsALogWithoutItsIndexAndCreatesNone) {
    LeaveBehind("UPDATE pair SET a = 2, b = 2;");
    std::filesystem::remove(Path() + "-shm");

    EXPECT_EQ(NumberIn("SELECT a FROM pair;"), "2");

    EXPECT_EQ(NamesIn(MakeFolder("databases")).size(), 2U);
}

TEST_F(ReadOnlyDatabaseTest, ReadsOnlyCommittedRows) {
    SqliteDatabase writer = SqliteDatabase::Open(Path(), kLockTimeoutMs);
    writer.Execute("UPDATE pair SET a = 3;");
    writer.Execute("BEGIN IMMEDIATE; UPDATE pair SET a = 4;", {.transaction = false});

    EXPECT_EQ(NumberIn("SELECT a FROM pair;"), "3");

    writer.Execute("COMMIT;", {.transaction = false});
    EXPECT_EQ(NumberIn("SELECT a FROM pair;"), "4");
}

TEST_F(ReadOnlyDatabaseTest, NeverReadsHalfATransactionOfAnotherWriter) {
    const contract::Child writer([] {
        for (;;) {
            SqliteDatabase database = SqliteDatabase::Open(Path(), kLockTimeoutMs);
            database.Execute("UPDATE pair SET a = a + 1; UPDATE pair SET b = b + 1;");
        }
        return 0;
    });

    constexpr long kEnough = 100;
    for (long last = 1; last < kEnough;) {
        const DBResult_tag rows =
            ReadOnlyDatabase(Path(), kLockTimeoutMs).Execute("SELECT a, b FROM pair;");
        ASSERT_STREQ(rows.Field(0, 0), rows.Field(0, 1));
        const long now = std::stol(rows.Field(0, 0));
        ASSERT_GE(now, last);
        last = now;
    }
}

// The reader is slow with each row, so the writer opens, writes and closes while it reads.
TEST_F(ReadOnlyDatabaseTest, RepeatsAReadThatAWriterDisturbed) {
    SqliteDatabase::Open(Path(), kLockTimeoutMs)
        .Execute("DELETE FROM pair; WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                 "WHERE i < 1000) INSERT INTO pair SELECT 1, zeroblob(1000) FROM n;");
    const pid_t reader = getpid();
    contract::Child writer([reader] {
        while (!HasOpen(reader, Path())) {
            usleep(1000);
        }
        SqliteDatabase::Open(Path(), kLockTimeoutMs).Execute("UPDATE pair SET a = 2;");
        return 0;
    });

    const DBResult_tag rows = ReadOnlyDatabase(Path(), kLockTimeoutMs)
                                  .Execute("SELECT min(a), max(a) FROM pair WHERE (WITH RECURSIVE "
                                           "n(i) AS (SELECT a UNION ALL SELECT i + 1 FROM n "
                                           "WHERE i < 2000) SELECT count(*) FROM n) > 0;");

    EXPECT_STREQ(rows.Field(0, 0), rows.Field(0, 1));
    EXPECT_EQ(writer.Wait(), 0);
    EXPECT_EQ(NumberIn("SELECT min(a) FROM pair;"), "2");
}

TEST_F(ReadOnlyDatabaseTest, RefusesEveryStatementThatWrites) {
    const std::string copy = MakeFolder("databases") + "/copy.db";
    for (const std::string& sql : {
             std::string("INSERT INTO pair VALUES (2, 2);"),
             std::string("DELETE FROM pair;"),
             std::string("CREATE TABLE other (a INTEGER);"),
             std::string("PRAGMA user_version = 7;"),
             std::string("PRAGMA journal_mode = DELETE;"),
             std::string("PRAGMA query_only = OFF; INSERT INTO pair VALUES (2, 2);"),
             std::string("BEGIN IMMEDIATE;"),
             std::string("PRAGMA wal_checkpoint(TRUNCATE);"),
             std::string("VACUUM;"),
             "VACUUM INTO '" + copy + "';",
             "ATTACH '" + copy + "' AS other; CREATE TABLE other.t (a INTEGER);",
         }) {
        EXPECT_NE(FailureOf(sql), "none") << sql;
    }
    LeaveBehind("UPDATE pair SET a = 2, b = 2;");
    EXPECT_NE(FailureOf("DELETE FROM pair;"), "none");
    EXPECT_NE(FailureOf("PRAGMA wal_checkpoint(TRUNCATE);"), "none");

    EXPECT_EQ(NumberIn("SELECT count(*) FROM pair;"), "1");
    EXPECT_FALSE(std::filesystem::exists(copy));
}

TEST_F(ReadOnlyDatabaseTest, ReportsWhyItCantRead) {
    EXPECT_THAT(FailureOf("SELECT a FROM other;"), HasSubstr("no such table: other"));

    contract::PutFile(Path(), "not a database, but long enough to be examined as one");
    EXPECT_THAT(FailureOf("SELECT a FROM pair;"), HasSubstr("file is not a database"));

    std::filesystem::remove(Path());
    EXPECT_THAT(FailureOf("SELECT a FROM pair;"), HasSubstr("unable to open database file"));
    EXPECT_THAT(NamesIn(MakeFolder("databases")), ElementsAre());
}

TEST_F(ReadOnlyDatabaseTest, ReadsTheSchemaVersionAndRefusesToChangeIt) {
    ReadOnlyDatabase database(Path(), kLockTimeoutMs);

    EXPECT_EQ(database.SchemaVersion(), 0);
    EXPECT_THROW(database.ApplySchema("", 1), recorder::Error);
    EXPECT_THROW(database.AttributeTo({1, 1}, {}), recorder::Error);
}

// SQLite would wait until another process opens a FIFO for writing.
TEST_F(ReadOnlyDatabaseTest, RefusesAFileThatIsNotRegular) {
    for (const char* const suffix : {"", "-wal", "-shm", "-journal"}) {
        const std::string path = Path() + suffix;
        std::filesystem::remove(path);
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);

        EXPECT_THAT(FailureOf("SELECT 1;"), HasSubstr("is not a regular file")) << suffix;
        EXPECT_THROW((void)SqliteDatabase::Open(Path(), 0), recorder::Error) << suffix;
        std::filesystem::remove(path);
    }
}

TEST_F(ReadOnlyDatabaseTest, AllocatesDiskSpaceOnlyForAWritableMapping) {
    constexpr size_t kLength = 65536;
    const recorder::UniqueFd file(
        open(Scratch("sparse").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(ftruncate(file.Get(), kLength), 0);
    const auto blocks = [&] {
        struct stat64 st = {};
        fstat64(file.Get(), &st);
        return static_cast<size_t>(st.st_blocks) * 512;
    };

    void* const read =
        recorder::MapWithSpace(nullptr, kLength, PROT_READ, MAP_SHARED, file.Get(), 0);
    EXPECT_EQ(blocks(), 0U);
    void* const written =
        recorder::MapWithSpace(nullptr, kLength, PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);

    EXPECT_GE(blocks(), kLength);
    EXPECT_EQ(munmap(read, kLength), 0);
    EXPECT_EQ(munmap(written, kLength), 0);
}

} // namespace
