// The run of the re-index tool that this process does, and what is kept of it.

#pragma once

#include "platform/database.h"
#include "recorder/database/databases.h"

#include <string>

namespace recorder {

// Records that a run begins in this process. `startTm` in seconds since the epoch. Throws Error.
void BeginRun(long startTm);

// The id of this process's run, which begins now if it hasn't yet; `waitForLock` as in
// ExecuteOptions. Throws Error.
[[nodiscard]] long CurrentRun(bool waitForLock = true);

// Runs `sql` as Execute does, on behalf of this process's run: what it removes can be put back.
// Throws Error also when the run can't be recorded; nothing has then changed.
DBResult_tag ExecuteInRun(KRDB::DB_INSTANCE instance, const std::string& sql,
                          const ExecuteOptions& options = {});

// Records that the run has ended, and forgets removals that were kept for as long as the settings
// say. Throws Error.
void EndRun();

} // namespace recorder
