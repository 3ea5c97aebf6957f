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
// Throws Error before any change: a run or a backup is in progress, the set is damaged, is another
// recorder's, or has tables of another version, what is replaced can't be kept, or the disk is
// full. A failure or a kill while the three databases are committed, or while one of them is
// damaged or missing, leaves them closed to every program (databases.h) until a restore succeeds;
// each single database is either as it was or restored.
[[nodiscard]] Restored RestoreBackup(const std::string& setFolder);

} // namespace recorder
