#include "recorder/database/databases.h"

#include "recorder/database/schema.h"
#include "recorder/utility/format.h"

#include <cstdlib>
#include <map>
#include <memory>

#include <pthread.h>

namespace recorder {

namespace {

struct OpenDatabase {
    std::unique_ptr<Database> database;
    long run = 0; // that what it does is attributed to; 0 = none
};

// By the first of the instances that a database holds.
using OpenDatabases = std::map<KRDB::DB_INSTANCE, OpenDatabase>;

// The ledger is in the order of time, so the search ends at the first row that stays.
constexpr const char* kForgetSql =
    "DELETE FROM removed WHERE id < coalesce("
    "(SELECT id FROM removed WHERE removed_tm >= %ld ORDER BY id LIMIT 1), 9223372036854775807);";

OpenDatabases& Databases() {
    static OpenDatabases databases;
    return databases;
}

// A connection is of one process: it is closed before a fork, and made again where it's needed.
void CloseBeforeForks() {
    [[maybe_unused]] static const int registered = pthread_atfork(CloseDatabases, nullptr, nullptr);
}

OpenDatabase& DatabaseOf(KRDB::DB_INSTANCE instance) {
    const KRDB::DB_INSTANCE first = InstancesBeside(instance).front();
    OpenDatabases& databases = Databases();
    const auto found = databases.find(first);
    if (found != databases.end()) {
        return found->second;
    }
    CloseBeforeForks();
    std::unique_ptr<Database> database = OpenDatabaseOf(instance);
    CheckSchemaVersion(*database);
    return databases.emplace(first, OpenDatabase{std::move(database)}).first->second;
}

void Attribute(OpenDatabase& open, KRDB::DB_INSTANCE instance, long run) {
    if (open.run == run) {
        return;
    }
    open.database->AttributeTo(run, MediaTablesBeside(instance));
    open.run = run;
}

} // namespace

DBResult_tag Execute(KRDB::DB_INSTANCE instance, const std::string& sql,
                     const ExecuteOptions& options) {
    return DatabaseOf(instance).database->Execute(sql, options);
}

DBResult_tag ExecuteFor(long run, KRDB::DB_INSTANCE instance, const std::string& sql,
                        const ExecuteOptions& options) {
    OpenDatabase& open = DatabaseOf(instance);
    Attribute(open, instance, run);
    return open.database->Execute(sql, options);
}

std::string HasIdOf(KRDB::DB_INSTANCE instance, const std::string& ids) {
    return DatabaseOf(instance).database->HasIdOf(ids);
}

std::string RowsWithIds(KRDB::DB_INSTANCE instance, const std::string& table,
                        const std::string& ids) {
    return DatabaseOf(instance).database->RowsWithIds(table, ids);
}

void ForgetRemovedBefore(long oldestTm) {
    for (const auto& [first, open] : Databases()) {
        // Asked first, as a deletion waits for other writers even if it finds nothing.
        const DBResult_tag oldest = open.database->Execute(
            "SELECT removed_tm FROM removed ORDER BY id LIMIT 1;", {.readOnly = true});
        if (oldest.RowCount() > 0 && std::strtol(oldest.Field(0, 0), nullptr, 10) < oldestTm) {
            open.database->Execute(Format(kForgetSql, oldestTm));
        }
    }
}

bool IsOpen(KRDB::DB_INSTANCE instance) {
    return Databases().contains(InstancesBeside(instance).front());
}

void CloseDatabases() {
    Databases().clear();
}

} // namespace recorder
