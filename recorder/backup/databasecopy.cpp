#include "recorder/backup/databasecopy.h"

#include "recorder/database/schema.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <fcntl.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr ExecuteOptions kNoTransaction{.transaction = false};

void Flush(const std::string& path) {
    const UniqueFd file(
        Uninterrupted([&] { return open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC); }));
    if (!file.IsOpen() || Uninterrupted([&] { return fsync(file.Get()); }) != 0) {
        throw SystemError("flush " + path);
    }
}

// SQLite ignores it if it can't remove such a file, but in a set it would not be expected.
void RemoveFilesBeside(const std::string& path) {
    for (const char* const suffix : kDatabaseFileSuffixes) {
        const std::string file = path + suffix;
        if (file != path && unlink(file.c_str()) != 0 && errno != ENOENT) {
            throw SystemError("remove " + file);
        }
    }
}

std::string FirstDamage(SqliteDatabase& database) {
    return database.Execute("PRAGMA integrity_check(1)", kNoTransaction).Text(0, "integrity_check");
}

} // namespace

void RequireSqlite() {
    if (GetSettings().database.postgres) {
        throw NotSqlite(
            "the databases are on a PostgreSQL server, which has its own tools: pg_dump "
            "and pg_restore for this recorder's schema, pg_basebackup and archived WAL "
            "for the whole cluster at any moment");
    }
}

SqliteDatabase OpenExisting(KRDB::DB_INSTANCE instance) {
    return SqliteDatabase::Open(DatabasePath(instance), GetSettings().database.lockTimeoutMs);
}

std::vector<SqliteDatabase> OpenAtOneMoment() {
    // These locks prevent writing to any of the databases while the others are being opened.
    std::vector<SqliteDatabase> writeLocks;
    for (const KRDB::DB_INSTANCE instance : kDatabaseInstances) {
        writeLocks.push_back(OpenExisting(instance));
        writeLocks.back().Execute("BEGIN IMMEDIATE", kNoTransaction);
    }
    std::vector<SqliteDatabase> databases;
    for (const KRDB::DB_INSTANCE instance : kDatabaseInstances) {
        databases.push_back(OpenExisting(instance));
        databases.back().Execute("BEGIN; SELECT count(*) FROM sqlite_schema;", kNoTransaction);
    }
    return databases;
}

// SQLite also calls it damage if it could not read a page, but damage is found each time.
void RequireIntegrity(SqliteDatabase& database) {
    const std::string answer = FirstDamage(database);
    if (answer == "ok") {
        return;
    }
    if (const std::string again = FirstDamage(database); again != answer) {
        throw Error("can't check " + database.Name() + ": the results differ: " + answer +
                    ", then " + again);
    }
    throw DamagedDatabase(database.Name() + " is damaged: " + answer);
}

void CopyDatabase(SqliteDatabase& source, const std::string& path) {
    {
        SqliteDatabase copy = SqliteDatabase::Create(path, GetSettings().database.lockTimeoutMs);
        source.CopyInto(copy);
        const DBResult_tag mode = copy.Execute("PRAGMA journal_mode = DELETE", kNoTransaction);
        if (mode.Text(0, "journal_mode") != "delete") {
            throw Error("can't put the log of " + copy.Name() + " into it");
        }
        RequireIntegrity(copy);
    }
    RemoveFilesBeside(path);
    Flush(path);
}

} // namespace recorder
