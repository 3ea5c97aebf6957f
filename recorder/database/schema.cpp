#include "recorder/database/schema.h"

#include "recorder/database/schemasql.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"

#include <array>
#include <cstdlib>
#include <filesystem>

namespace recorder {

namespace {

constexpr long kSchemaVersion = 1;

struct DatabaseFile {
    KRDB::DB_INSTANCE instance;
    const char* fileName;
    const char* schemaSql;
};

constexpr std::array kDatabaseFiles{
    DatabaseFile{KRDB::DB_SYSTEM, "system.db", kSystemSchemaSql},
    DatabaseFile{KRDB::DB_RECORDING, "recording.db", kRecordingSchemaSql},
    DatabaseFile{KRDB::DB_SNAPSHOT, "snapshot.db", kSnapshotSchemaSql},
};

long SchemaVersion(SqliteDatabase& database) {
    return std::strtol(database.Execute("PRAGMA user_version").Field(0, 0), nullptr, 10);
}

} // namespace

std::string DatabasePath(KRDB::DB_INSTANCE instance) {
    for (const DatabaseFile& file : kDatabaseFiles) {
        if (file.instance == instance) {
            return std::string(kDatabaseDir) + "/" + file.fileName;
        }
    }
    throw Error("there is no database with the number " + std::to_string(instance));
}

void CheckSchemaVersion(SqliteDatabase& database, const std::string& path) {
    const long version = SchemaVersion(database);
    if (version != kSchemaVersion) {
        throw Error("database " + path + " has schema version " + std::to_string(version) +
                    "; expected " + std::to_string(kSchemaVersion) +
                    ", as \"krctl init\" makes it");
    }
}

void InitDatabases() {
    std::filesystem::create_directories(kDatabaseDir);
    for (const DatabaseFile& file : kDatabaseFiles) {
        const std::string path = DatabasePath(file.instance);
        SqliteDatabase database =
            SqliteDatabase::Create(path, GetSettings().database.lockTimeoutMs);
        if (SchemaVersion(database) == 0) {
            database.Execute(std::string(file.schemaSql) +
                             "PRAGMA user_version = " + std::to_string(kSchemaVersion) + ";");
        }
        CheckSchemaVersion(database, path);
    }
}

} // namespace recorder
