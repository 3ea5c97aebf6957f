// The recorder's databases by instance number. Each is opened when it is first needed.

#pragma once

#include "platform/database.h"
#include "recorder/database/database.h"

#include <string>
#include <vector>

namespace recorder {

// Executes `sql` on a database of the recorder. Throws Error if there is no such database, it is
// missing or has another version, or Database::Execute fails.
DBResult_tag Execute(KRDB::DB_INSTANCE instance, const std::string& sql,
                     const ExecuteOptions& options = {});

// Like Execute, but attributes the changes to a run (Database::AttributeTo).
DBResult_tag ExecuteFor(const RunIdentity& run, KRDB::DB_INSTANCE instance, const std::string& sql,
                        const ExecuteOptions& options = {});

// A restore (recorder/backup/restore.h) replaces one database after the other. If it was
// interrupted, they may be of different times, and Execute and ExecuteFor refuse to open them with
// this DatabaseUnusable.
void RequireNoInterruptedRestore();
// Throws Error if that can't be determined.
[[nodiscard]] bool IsRestoreInterrupted();

// The number of rows in one transaction of a large change, some tens of milliseconds of work,
// unless the time decides. LetOthersWrite is called between two transactions.
constexpr int kRowsPerTransaction = 4000;

// These call the functions of Database with the same names. They throw Error.
void LetOthersWrite(KRDB::DB_INSTANCE instance);
[[nodiscard]] std::string HasIdOf(KRDB::DB_INSTANCE instance, const std::string& ids);
[[nodiscard]] std::string RowsWithIds(KRDB::DB_INSTANCE instance, const std::string& table,
                                      const std::string& ids);

[[nodiscard]] std::string RaiseIdsSql(KRDB::DB_INSTANCE instance, const std::string& table,
                                      long highest);

// One instance of each open database.
[[nodiscard]] std::vector<KRDB::DB_INSTANCE> OpenInstances();

[[nodiscard]] bool IsOpen(KRDB::DB_INSTANCE instance);

// Closes all databases. A forked child must not inherit a connection: each of the two processes
// would treat the other's locks as its own.
void CloseDatabases();

} // namespace recorder
