// The numbers of runs. No number is ever used twice, whichever database was lost or restored.
//
// A file beside the databases stores the highest number (recorder/database/idmarks.h). If that file
// is lost, too, or was restored with a database, the ledgers of the other databases show the
// highest number. If one of those is restored later, the token distinguishes two runs of one
// number.

#pragma once

#include "platform/database.h"
#include "recorder/database/database.h"

#include <string>

namespace recorder {

enum class RunPurpose {
    ReIndex, // krindexer
    Fix,     // krctl check --fix
};

// Records the beginning of a run, under a number that no readable database holds. `waitForLock` as
// in ExecuteOptions. Throws Error.
[[nodiscard]] RunIdentity AddRunRecord(RunPurpose purpose, long startTm, bool waitForLock);

// Must be called before a run changes its first database. From then on no other run gets this
// number, not even after a power failure. Throws Error.
void SecureRunNumber(long number);

// Returns whether the database holds changes of a run with this number. Throws Error.
[[nodiscard]] bool HoldsRun(KRDB::DB_INSTANCE instance, long number);

// Gives the recorded run a new number, which no database holds, and returns it. Throws Error.
[[nodiscard]] long RenumberRun(long number);

// The query for the highest run number in the database of this instance, as the column "highest".
[[nodiscard]] std::string HighestRunSql(KRDB::DB_INSTANCE instance);

// Stores the highest run number that the databases hold in the file beside them. Throws Error.
void NoteNumbersOfDatabases();

} // namespace recorder
