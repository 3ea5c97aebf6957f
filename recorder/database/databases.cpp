#include "recorder/database/databases.h"

#include "recorder/database/schema.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"

#include <cerrno>
#include <map>
#include <memory>
#include <string>

#include <pthread.h>
#include <unistd.h>

namespace recorder {

namespace {

struct OpenDatabase {
    std::unique_ptr<Database> database;
    RunIdentity run; // to which its changes are attributed
};

// The key is the first instance in the database.
using OpenDatabases = std::map<KRDB::DB_INSTANCE, OpenDatabase>;

OpenDatabases& Databases() {
    static OpenDatabases databases;
    return databases;
}

// A connection belongs to one process: it is closed before a fork, and opened again when needed.
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
    RequireNoInterruptedRestore();
    std::unique_ptr<Database> database = OpenDatabaseOf(instance);
    CheckSchemaVersion(*database);
    return databases.emplace(first, OpenDatabase{std::move(database), {}}).first->second;
}

void Attribute(OpenDatabase& open, KRDB::DB_INSTANCE instance, const RunIdentity& run) {
    if (open.run == run) {
        return;
    }
    open.database->AttributeTo(run, MediaTablesBeside(instance));
    open.run = run;
}

} // namespace

bool IsRestoreInterrupted() {
    if (access(kRestoreMarkFile, F_OK) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        throw SystemError(std::string("examine ") + kRestoreMarkFile);
    }
    return false;
}

void RequireNoInterruptedRestore() {
    if (IsRestoreInterrupted()) {
        throw DatabaseUnusable("the restore of a backup was interrupted; run krctl restore again");
    }
}

DBResult_tag Execute(KRDB::DB_INSTANCE instance, const std::string& sql,
                     const ExecuteOptions& options) {
    return DatabaseOf(instance).database->Execute(sql, options);
}

DBResult_tag ExecuteFor(const RunIdentity& run, KRDB::DB_INSTANCE instance, const std::string& sql,
                        const ExecuteOptions& options) {
    OpenDatabase& open = DatabaseOf(instance);
    Attribute(open, instance, run);
    return open.database->Execute(sql, options);
}

void LetOthersWrite(KRDB::DB_INSTANCE instance) {
    DatabaseOf(instance).database->LetOthersWrite();
}

std::string HasIdOf(KRDB::DB_INSTANCE instance, const std::string& ids) {
    return DatabaseOf(instance).database->HasIdOf(ids);
}

std::string RowsWithIds(KRDB::DB_INSTANCE instance, const std::string& table,
                        const std::string& ids) {
    return DatabaseOf(instance).database->RowsWithIds(table, ids);
}

std::string RaiseIdsSql(KRDB::DB_INSTANCE instance, const std::string& table, long highest) {
    return DatabaseOf(instance).database->RaiseIdsSql(table, highest);
}

std::vector<KRDB::DB_INSTANCE> OpenInstances() {
    std::vector<KRDB::DB_INSTANCE> instances;
    for (const auto& [first, open] : Databases()) {
        instances.push_back(first);
    }
    return instances;
}

bool IsOpen(KRDB::DB_INSTANCE instance) {
    return Databases().contains(InstancesBeside(instance).front());
}

void CloseDatabases() {
    Databases().clear();
}

} // namespace recorder
