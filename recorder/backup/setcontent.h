// What the databases of a set hold, for comparison with its description and with the databases now.

#pragma once

#include "recorder/backup/backupset.h"
#include "recorder/database/sqlite.h"

#include <vector>

namespace recorder {

// The highest numbers of runs and messages in databases; 0 = none.
struct GivenNumbers {
    long run = 0;
    long outbox = 0;
};

// Returns the version of the tables. Works within a transaction. Throws Error.
[[nodiscard]] long SchemaVersionIn(SqliteDatabase& database);

// The databases are in the order of kDatabaseInstances. Throws Error.
[[nodiscard]] GivenNumbers GivenNumbersIn(std::vector<SqliteDatabase>& databases);

// Throws Error, naming the set, unless its databases are those of the described recorder, version
// and moment: the checksums don't show that somebody put in other databases or edited the
// description together with the checksums.
void RequireDescribedDatabases(const BackupSet& set);

// Returns true if runs have added, removed or changed other rows by now than when the set was
// taken. A run in progress when the set was taken counts. Throws Error.
[[nodiscard]] bool HasOtherChanges(const BackupSet& set);

} // namespace recorder
