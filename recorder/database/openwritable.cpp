#include "recorder/database/openpostgres.h"
#include "recorder/database/readonlydatabase.h"
#include "recorder/database/schema.h"
#include "recorder/database/sqlite.h"
#include "recorder/settings/settings.h"

namespace recorder {

namespace {

bool& IsReadOnly() {
    static bool isReadOnly = false;
    return isReadOnly;
}

} // namespace

void OpenDatabasesReadOnly() {
    IsReadOnly() = true;
}

std::unique_ptr<Database> OpenDatabaseOf(KRDB::DB_INSTANCE instance) {
    if (IsReadOnly()) {
        return OpenReadOnlyDatabaseOf(instance);
    }
    const DatabaseSettings& settings = GetSettings().database;
    if (settings.postgres) {
        return OpenPostgres(*settings.postgres, settings.lockTimeoutMs, PostgresAccess::Write);
    }
    return std::make_unique<SqliteDatabase>(
        SqliteDatabase::Open(DatabasePath(instance), settings.lockTimeoutMs));
}

} // namespace recorder
