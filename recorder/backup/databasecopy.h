// Copies of SQLite databases.

#pragma once

#include "platform/database.h"
#include "recorder/database/sqlite.h"

#include <array>
#include <string>
#include <vector>

namespace recorder {

// The databases of a set.
inline constexpr std::array kDatabaseInstances{KRDB::DB_SYSTEM, KRDB::DB_RECORDING,
                                               KRDB::DB_SNAPSHOT};

// What SQLite adds to a database's name for the files that belong to it.
inline constexpr std::array kDatabaseFileSuffixes{"", "-wal", "-shm", "-journal"};

// The databases are on a PostgreSQL server.
class NotSqlite : public Error {
public:
    using Error::Error;
};

// Throws NotSqlite if the databases are on a PostgreSQL server.
void RequireSqlite();

// Opens the recorder's database, which must exist. Throws Error.
[[nodiscard]] SqliteDatabase OpenExisting(KRDB::DB_INSTANCE instance);

// Opens connections to the databases, in the order of kDatabaseInstances. Until they are closed,
// they read the state of all databases at one moment, also if others write. Throws Error.
[[nodiscard]] std::vector<SqliteDatabase> OpenAtOneMoment();

// Throws DamagedDatabase if SQLite finds damage, and Error if the database can't be checked.
void RequireIntegrity(SqliteDatabase& database);

// Writes the content of `source` into the file `path`, which becomes one file without a log beside
// it, on the disk when this returns. Throws as RequireIntegrity does for the copy.
void CopyDatabase(SqliteDatabase& source, const std::string& path);

} // namespace recorder
