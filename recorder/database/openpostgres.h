// The way to PostgreSQL. What is behind it lies in a module.

#pragma once

#include "recorder/database/database.h"
#include "recorder/settings/settings.h"

#include <memory>

namespace recorder {

enum class PostgresAccess {
    Write,
    ReadOnly, // every transaction is one that the server lets write nothing
    Create,   // as Write, and the recorder's schema is made where there is none yet
};

// Connects. Throws Error: no host of the dsn takes the connection and writes, or the database's
// encoding isn't SQL_ASCII.
[[nodiscard]] std::unique_ptr<Database> OpenPostgres(const PostgresSettings& settings,
                                                     int lockTimeoutMs, PostgresAccess access);

// The module's function; the caller owns what it returns.
using OpenPostgresFunction = Database*(const PostgresSettings& settings, int lockTimeoutMs,
                                       PostgresAccess access);

} // namespace recorder
