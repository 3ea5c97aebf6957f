// Bringing the databases back to what a backup set holds.

#pragma once

#include "recorder/backup/backupset.h"
#include "recorder/backup/replaced.h"

#include <string>

namespace recorder {

struct Restored {
    BackupSet set;
    Replaced replaced;
};

// Replaces the databases by those of the set. Rows, ids and the ledger are then as they were when
// the set was taken; ids and run numbers that were given since are not given again. Takes the run
// lock.
//
// Throws Error before any change: a run is in progress, the set is damaged, is another recorder's,
// or has tables of another version, or what is replaced can't be kept. A failure later, or a kill,
// leaves the databases closed to every program (databases.h) until a restore succeeds; each single
// database is either as it was or restored.
[[nodiscard]] Restored RestoreBackup(const std::string& setFolder);

} // namespace recorder
