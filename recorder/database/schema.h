// The recorder's databases, the tables in them, and their version.

#pragma once

#include "platform/database.h"
#include "recorder/database/database.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace recorder {

// The version of the tables that this program uses.
constexpr long kSchemaVersion = 1;

// The instances that are in one database with this one, itself included, in ascending order. On
// PostgreSQL these are all instances. Throws Error for an instance without a database.
[[nodiscard]] std::vector<KRDB::DB_INSTANCE> InstancesBeside(KRDB::DB_INSTANCE instance);
[[nodiscard]] std::vector<MediaTable> MediaTablesBeside(KRDB::DB_INSTANCE instance);

// SQLite's file of an instance. Throws Error for an instance without a database.
[[nodiscard]] std::string DatabasePath(KRDB::DB_INSTANCE instance);

// Opens an existing database on the engine that the settings choose. Whether it can be written is
// decided when a program is linked (openwritable.cpp, openreadonly.cpp), so that no mistake in a
// program that only reads can write. Throws Error.
[[nodiscard]] std::unique_ptr<Database> OpenDatabaseOf(KRDB::DB_INSTANCE instance);
// Like it, but always such that every write is refused, and nothing is written beside the database.
[[nodiscard]] std::unique_ptr<Database> OpenReadOnlyDatabaseOf(KRDB::DB_INSTANCE instance);

// Makes OpenDatabaseOf open databases read-only from now on, for commands that only read, in a
// program that can write.
void OpenDatabasesReadOnly();

// Throws DatabaseUnusable, with the remedy, if a database file is missing or can't be read. Opens
// no database: on a server, one can still turn out to be missing.
void RequireDatabases();

// Throws DatabaseUnusable if the database has another version than kSchemaVersion.
void CheckSchemaVersion(Database& database);

// A step from the previous version of the schema to `version`. A version can have several steps,
// for different databases; they are applied in their order.
struct SchemaStep {
    long version;                              // 1, 2, ...
    std::optional<KRDB::DB_INSTANCE> instance; // nothing: every database
    const char* sql;
    bool postgresOnly = false;
};

// Upgrades a database that contains these instances to the version `target`, each version in one
// transaction. Leaves a database of this or a higher version unchanged. Throws Error.
void ApplySchemaSteps(Database& database, const std::vector<KRDB::DB_INSTANCE>& instances,
                      std::span<const SchemaStep> steps, long target);

// Creates the folder of SQLite's files unless it exists. Throws Error.
void MakeDatabaseFolder();

struct InitialisedDatabase {
    std::string name;
    long versionBefore = 0; // of its schema; 0: it had no tables
};

// Creates missing databases and tables, and upgrades tables of an older version. Throws Error.
std::vector<InitialisedDatabase> InitDatabases();

} // namespace recorder
