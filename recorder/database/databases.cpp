#include "recorder/database/databases.h"

#include "recorder/database/schema.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"

#include <map>

namespace recorder {

namespace {

using OpenDatabases = std::map<KRDB::DB_INSTANCE, SqliteDatabase>;

OpenDatabases& Databases() {
    static OpenDatabases databases;
    return databases;
}

SqliteDatabase& Database(KRDB::DB_INSTANCE instance) {
    OpenDatabases& databases = Databases();
    const auto found = databases.find(instance);
    if (found != databases.end()) {
        return found->second;
    }
    const std::string path = DatabasePath(instance);
    SqliteDatabase database = SqliteDatabase::Open(path, GetSettings().database.lockTimeoutMs);
    CheckSchemaVersion(database, path);
    return databases.emplace(instance, std::move(database)).first->second;
}

} // namespace

DBResult_tag Execute(KRDB::DB_INSTANCE instance, const std::string& sql,
                     const ExecuteOptions& options) {
    return Database(instance).Execute(sql, options);
}

void CloseDatabases() {
    Databases().clear();
}

} // namespace recorder
