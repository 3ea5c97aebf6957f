// The recorder's databases by instance number, each opened when it is first needed.

#pragma once

#include "platform/database.h"
#include "recorder/database/database.h"

#include <string>
#include <vector>

namespace recorder {

// Runs `sql` on a database of the recorder. Throws Error: the database is none, is missing, is of
// another version, or Database::Execute failed.
DBResult_tag Execute(KRDB::DB_INSTANCE instance, const std::string& sql,
                     const ExecuteOptions& options = {});

// The same, on behalf of a run: what it removes is kept as removed by that run.
DBResult_tag ExecuteFor(const RunIdentity& run, KRDB::DB_INSTANCE instance, const std::string& sql,
                        const ExecuteOptions& options = {});

// How many rows of a large change go in one transaction, where their number alone decides: some
// tens of milliseconds of work. Between two of them LetOthersWrite is called.
constexpr int kRowsPerTransaction = 4000;

// As Database's of these names. They throw Error.
void LetOthersWrite(KRDB::DB_INSTANCE instance);
[[nodiscard]] std::string HasIdOf(KRDB::DB_INSTANCE instance, const std::string& ids);
[[nodiscard]] std::string RowsWithIds(KRDB::DB_INSTANCE instance, const std::string& table,
                                      const std::string& ids);

[[nodiscard]] std::string RaiseIdsSql(KRDB::DB_INSTANCE instance, const std::string& table,
                                      long highest);

// One instance of each database that is open.
[[nodiscard]] std::vector<KRDB::DB_INSTANCE> OpenInstances();

[[nodiscard]] bool IsOpen(KRDB::DB_INSTANCE instance);

// Closes all of them. A connection must not be carried into a forked child: the two processes would
// take each other's locks for their own.
void CloseDatabases();

} // namespace recorder
