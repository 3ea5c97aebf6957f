// The recorder's databases, the tables in them, and their version.

#pragma once

#include "platform/database.h"
#include "recorder/database/database.h"

#include <memory>
#include <string>
#include <vector>

namespace recorder {

// The version of the tables that this program works on.
constexpr long kSchemaVersion = 1;

// The instances that lie in one database with this one, itself among them, in ascending order: on
// PostgreSQL all of them do. Throws Error for an instance that has no database.
[[nodiscard]] std::vector<KRDB::DB_INSTANCE> InstancesBeside(KRDB::DB_INSTANCE instance);
[[nodiscard]] std::vector<MediaTable> MediaTablesBeside(KRDB::DB_INSTANCE instance);

// SQLite's file of an instance. Throws Error for an instance that has none.
[[nodiscard]] std::string DatabasePath(KRDB::DB_INSTANCE instance);

// Opens a database that is there, on the engine that the settings choose. Whether it can be written
// is decided where a program is linked (openwritable.cpp, openreadonly.cpp), so no mistake of a
// program that only looks can write. Throws Error.
[[nodiscard]] std::unique_ptr<Database> OpenDatabaseOf(KRDB::DB_INSTANCE instance);

// Throws Error when the database is of another version than this program works on.
void CheckSchemaVersion(Database& database);

// Makes what is missing: the databases and their tables. Tables of an older version are brought to
// this program's. Throws Error.
void InitDatabases();

} // namespace recorder
