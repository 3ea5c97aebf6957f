// The numbers of runs: none is ever used twice, whichever database was lost or restored.
//
// A file beside the databases notes the highest one (recorder/database/idmarks.h). Where that is
// lost, too, or was restored with a database, the ledgers of the other databases tell. Where one of
// these is put back later, the token tells two runs of one number apart.

#pragma once

#include "platform/database.h"
#include "recorder/database/runidentity.h"

namespace recorder {

// Puts a run on record as begun, with a number that no database holds of those that can be read.
// `waitForLock` as in ExecuteOptions. Throws Error.
[[nodiscard]] RunIdentity AddRunRecord(long startTm, bool waitForLock);

// To be called before a run changes its first database: from then on no other run gets its number,
// not even after the machine's sudden end. Throws Error.
void SecureRunNumber(long number);

// Whether the database holds something of a run of this number. Throws Error.
[[nodiscard]] bool HoldsRun(KRDB::DB_INSTANCE instance, long number);

// Gives the run on record another number, which is returned: one that no database holds. Throws
// Error.
[[nodiscard]] long RenumberRun(long number);

// Notes the highest numbers that the databases hold. Throws Error.
void NoteNumbersOfDatabases();

} // namespace recorder
