// The recorder's databases by instance number, each opened when it is first needed.

#pragma once

#include "platform/database.h"
#include "recorder/database/sqlite.h"

#include <string>

namespace recorder {

// Runs `sql` on a database of the recorder. Throws Error: the database is none, is missing, is of
// another version, or SqliteDatabase::Execute failed.
DBResult_tag Execute(KRDB::DB_INSTANCE instance, const std::string& sql,
                     const ExecuteOptions& options = {});

// Closes all of them. A connection must not be carried into a forked child: the two processes would
// take each other's locks for their own.
void CloseDatabases();

} // namespace recorder
