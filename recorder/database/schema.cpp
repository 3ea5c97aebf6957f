#include "recorder/database/schema.h"

#include "recorder/database/openpostgres.h"
#include "recorder/database/recorderid.h"
#include "recorder/database/schemasql.h"
#include "recorder/database/sqlite.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace recorder {

namespace {

struct DatabaseFile {
    KRDB::DB_INSTANCE instance;
    const char* name;
};

constexpr std::array kDatabaseFiles{
    DatabaseFile{KRDB::DB_SYSTEM, "system.db"},
    DatabaseFile{KRDB::DB_RECORDING, "recording.db"},
    DatabaseFile{KRDB::DB_SNAPSHOT, "snapshot.db"},
};

constexpr std::array kSchemaSteps{
    SchemaStep{1, KRDB::DB_SYSTEM, kSchema1System},
    SchemaStep{1, KRDB::DB_RECORDING, kSchema1Recording},
    SchemaStep{1, KRDB::DB_SNAPSHOT, kSchema1Snapshot},
    SchemaStep{1, std::nullopt, kSchema1Ledger},
    SchemaStep{1, std::nullopt, kSchema1Finding},
    SchemaStep{1, std::nullopt, kSchema1Content},
    SchemaStep{1, std::nullopt, kSchema1Postgresql, true},
};

const DatabaseFile& FileOf(KRDB::DB_INSTANCE instance) {
    for (const DatabaseFile& file : kDatabaseFiles) {
        if (file.instance == instance) {
            return file;
        }
    }
    throw Error("no such database: number " + std::to_string(instance));
}

bool OnPostgres() {
    return GetSettings().database.postgres.has_value();
}

std::string SqlOfVersion(long version, const std::vector<KRDB::DB_INSTANCE>& instances,
                         std::span<const SchemaStep> steps) {
    std::string sql;
    for (const SchemaStep& step : steps) {
        const bool here = !step.instance || std::find(instances.begin(), instances.end(),
                                                      *step.instance) != instances.end();
        if (step.version == version && here && (OnPostgres() || !step.postgresOnly)) {
            sql += step.sql;
        }
    }
    return sql;
}

InitialisedDatabase BringUpToDate(Database& database,
                                  const std::vector<KRDB::DB_INSTANCE>& instances) {
    const long versionBefore = database.SchemaVersion();
    ApplySchemaSteps(database, instances, kSchemaSteps, kSchemaVersion);
    CheckSchemaVersion(database);
    if (instances.front() == KRDB::DB_SYSTEM) {
        CreateRecorderId(database);
    }
    return {database.Name(), versionBefore};
}

void RequireAccess(const std::string& path, int access) {
    if (Uninterrupted([&] { return faccessat(AT_FDCWD, path.c_str(), access, AT_EACCESS); }) == 0) {
        return;
    }
    if (errno == ENOENT) {
        throw DatabaseUnusable(path + " does not exist; run krctl init");
    }
    throw DatabaseUnusable(SystemError("read " + path).what() +
                           std::string("; run krctl as the user that owns the databases"));
}

} // namespace

std::vector<KRDB::DB_INSTANCE> InstancesBeside(KRDB::DB_INSTANCE instance) {
    if (!OnPostgres()) {
        return {FileOf(instance).instance};
    }
    (void)FileOf(instance); // throws if there is no such instance
    std::vector<KRDB::DB_INSTANCE> instances;
    instances.reserve(kDatabaseFiles.size());
    for (const DatabaseFile& file : kDatabaseFiles) {
        instances.push_back(file.instance);
    }
    return instances;
}

std::vector<MediaTable> MediaTablesBeside(KRDB::DB_INSTANCE instance) {
    const std::vector<KRDB::DB_INSTANCE> instances = InstancesBeside(instance);
    std::vector<MediaTable> tables;
    for (const MediaTable& table : MediaTables()) {
        if (std::find(instances.begin(), instances.end(), table.instance) != instances.end()) {
            tables.push_back(table);
        }
    }
    return tables;
}

std::string DatabasePath(KRDB::DB_INSTANCE instance) {
    return std::string(kDatabaseDir) + "/" + FileOf(instance).name;
}

void RequireDatabases() {
    if (OnPostgres()) {
        RequireAccess(kDatabaseDir, X_OK); // with the files of runs; the server has the databases
        return;
    }
    for (const DatabaseFile& file : kDatabaseFiles) {
        RequireAccess(DatabasePath(file.instance), R_OK);
    }
}

void CheckSchemaVersion(Database& database) {
    const long version = database.SchemaVersion();
    if (version != kSchemaVersion) {
        throw DatabaseUnusable(database.Name() + " has schema version " + std::to_string(version) +
                               "; expected " + std::to_string(kSchemaVersion) +
                               (version < kSchemaVersion ? "; run \"krctl init\"" : ""));
    }
}

void ApplySchemaSteps(Database& database, const std::vector<KRDB::DB_INSTANCE>& instances,
                      std::span<const SchemaStep> steps, long target) {
    for (long version = database.SchemaVersion() + 1; version <= target; ++version) {
        database.ApplySchema(SqlOfVersion(version, instances, steps), version);
    }
}

void MakeDatabaseFolder() {
    std::error_code error;
    std::filesystem::create_directories(kDatabaseDir, error);
    if (error) {
        throw Error(std::string("can't create the folder ") + kDatabaseDir + ": " +
                    error.message());
    }
}

std::vector<InitialisedDatabase> InitDatabases() {
    const DatabaseSettings& settings = GetSettings().database;
    MakeDatabaseFolder();
    if (settings.postgres) {
        return {BringUpToDate(
            *OpenPostgres(*settings.postgres, settings.lockTimeoutMs, PostgresAccess::Create),
            InstancesBeside(KRDB::DB_SYSTEM))};
    }
    std::vector<InitialisedDatabase> databases;
    for (const DatabaseFile& file : kDatabaseFiles) {
        SqliteDatabase database =
            SqliteDatabase::Create(DatabasePath(file.instance), settings.lockTimeoutMs);
        databases.push_back(BringUpToDate(database, {file.instance}));
    }
    return databases;
}

} // namespace recorder
