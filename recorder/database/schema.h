// The tables of the recorder's databases, and their version.

#pragma once

#include "platform/database.h"
#include "recorder/database/sqlite.h"

#include <string>

namespace recorder {

// The file of a database. Throws Error for an instance that has none.
[[nodiscard]] std::string DatabasePath(KRDB::DB_INSTANCE instance);

// Throws Error when the database is of another version than this program works on.
void CheckSchemaVersion(SqliteDatabase& database, const std::string& path);

// Makes what is missing: the databases' folder, the databases, their tables. What is there stays as
// it is. Throws Error.
void InitDatabases();

} // namespace recorder
