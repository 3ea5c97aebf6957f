// Opens databases on PostgreSQL, with the code of a module.

#pragma once

#include "recorder/database/database.h"
#include "recorder/settings/settings.h"

#include <memory>

namespace recorder {

enum class PostgresAccess {
    Write,
    ReadOnly, // the server refuses every write
    Create,   // like Write, but also creates a missing schema
};

// Connects. Throws Error if no host of the dsn accepts the connection and can be written to, or if
// the database's encoding is not SQL_ASCII.
[[nodiscard]] std::unique_ptr<Database> OpenPostgres(const PostgresSettings& settings,
                                                     int lockTimeoutMs, PostgresAccess access);

// The module's function. The caller owns the result.
using OpenPostgresFunction = Database*(const PostgresSettings& settings, int lockTimeoutMs,
                                       PostgresAccess access);

} // namespace recorder
