#include "recorder/backup/setcontent.h"

#include "recorder/backup/databasecopy.h"
#include "recorder/backup/setfiles.h"
#include "recorder/database/databases.h"
#include "recorder/database/recorderid.h"
#include "recorder/database/schema.h"
#include "recorder/run/runnumber.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"

#include <algorithm>
#include <string>

namespace recorder {

namespace {

constexpr ExecuteOptions kReading{.readOnly = true, .transaction = false};
constexpr const char* kHighestMessageSql =
    "SELECT max(seq) AS highest FROM sqlite_sequence WHERE name = 'outbox';";
// No run number is ever given twice, and counts of a run only rise.
constexpr const char* kChangesSql =
    "SELECT count(*) || ' ' || coalesce(max(run), 0) || ' ' || "
    "coalesce(sum(added + removed + changed), 0) AS changes FROM run_count;";

std::vector<SqliteDatabase> OpenDatabasesOf(const BackupSet& set) {
    std::vector<SqliteDatabase> databases;
    for (std::size_t i = 0; i < kDatabaseInstances.size(); ++i) {
        databases.push_back(SqliteDatabase::OpenReadOnly(set.folder + "/" + kCheckedFiles.at(i),
                                                         SqliteReadMode::Immutable,
                                                         GetSettings().database.lockTimeoutMs));
    }
    return databases;
}

void RequireAtMost(long actual, long described, const char* what, const BackupSet& set) {
    if (actual > described) {
        throw Error(set.folder + " holds the " + what + " " + std::to_string(actual) +
                    ", but its description says that the highest is " + std::to_string(described));
    }
}

// The files of two databases may have been exchanged.
void RequireTables(SqliteDatabase& database, KRDB::DB_INSTANCE instance) {
    for (const MediaTable& table : MediaTablesBeside(instance)) {
        const DBResult_tag rows = database.Execute(
            Format("SELECT 1 FROM sqlite_schema WHERE type = 'table' AND name = '%s';",
                   table.name.c_str()),
            kReading);
        if (rows.RowCount() == 0) {
            throw Error(database.Name() + " has no table " + table.name);
        }
    }
}

} // namespace

long SchemaVersionIn(SqliteDatabase& database) {
    return database.Execute("PRAGMA user_version", {.transaction = false}).Long(0, "user_version");
}

GivenNumbers GivenNumbersIn(std::vector<SqliteDatabase>& databases) {
    GivenNumbers given;
    for (std::size_t i = 0; i < databases.size(); ++i) {
        const DBResult_tag rows =
            databases[i].Execute(HighestRunSql(kDatabaseInstances.at(i)), kReading);
        given.run = std::max(given.run, rows.Long(0, "highest"));
    }
    given.outbox = databases.at(1).Execute(kHighestMessageSql, kReading).Long(0, "highest");
    return given;
}

void RequireDescribedDatabases(const BackupSet& set) {
    std::vector<SqliteDatabase> databases = OpenDatabasesOf(set);
    for (SqliteDatabase& database : databases) {
        if (const long version = SchemaVersionIn(database); version != set.schema) {
            throw Error(database.Name() + " has tables of version " + std::to_string(version) +
                        ", but the description of the set says " + std::to_string(set.schema));
        }
    }
    if (set.schema != kSchemaVersion) {
        return; // what its tables are is unknown here
    }
    for (std::size_t i = 0; i < databases.size(); ++i) {
        RequireTables(databases[i], kDatabaseInstances.at(i));
    }
    if (const std::string recorder = RecorderId(databases.front()); recorder != set.recorder) {
        throw Error(databases.front().Name() + " is that of another recorder (" + recorder +
                    ") than the description of the set says (" + set.recorder + ")");
    }
    const GivenNumbers given = GivenNumbersIn(databases);
    RequireAtMost(given.run, set.run, "run", set);
    RequireAtMost(given.outbox, set.outbox, "message", set);
}

bool HasOtherChanges(const BackupSet& set) {
    std::vector<SqliteDatabase> databases = OpenDatabasesOf(set);
    for (std::size_t i = 0; i < databases.size(); ++i) {
        const DBResult_tag then = databases[i].Execute(kChangesSql, kReading);
        const DBResult_tag now = Execute(kDatabaseInstances.at(i), kChangesSql, {.readOnly = true});
        if (then.Text(0, "changes") != now.Text(0, "changes")) {
            return true;
        }
    }
    return false;
}

} // namespace recorder
