// The run of the re-index tool that this process does, and what is kept of it.

#pragma once

namespace recorder {

// Records that a run begins in this process. `startTm` in seconds since the epoch. Throws Error.
void BeginRun(long startTm);

// The id of this process's run, which begins now if it hasn't yet; `waitForLock` as in
// ExecuteOptions. Throws Error.
[[nodiscard]] long CurrentRun(bool waitForLock = true);

// Records that the run has ended, and forgets removals that were kept for as long as the settings
// say. Throws Error.
void EndRun();

} // namespace recorder
