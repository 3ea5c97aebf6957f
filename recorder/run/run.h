// The run of the re-index tool in this process, from beginning to end, and its record in the
// databases. What happens during the run is reported through taps.h.

#pragma once

namespace recorder {

// Begins a run in this process. `startTm` is in seconds since the epoch. Failures that were logged
// since the previous run of this process count as failures of this run. The run is not recorded
// yet.
void BeginRun(long startTm);

// Records the run in the database unless that was done before; `waitForLock` as in ExecuteOptions.
// Throws Error; the call can then be repeated.
void RecordRun(bool waitForLock = true);

// The recorded number of this process's run; 0 if it is not recorded.
[[nodiscard]] long RunNumber();

// Notes the finished share of the run, 0.0 to 1.0.
void NoteProgress(double progress);

// Ends the run and its current part now, without recording it.
void EndRun();

// Records the end of the run, and expires removed rows and parts that are older than the settings
// allow. Throws Error; CloseRun then tries again.
void RecordRunEnd();

// Adds to the record what failed since RecordRunEnd. To be called when the process has nothing left
// to do for its run. Throws Error.
void CloseRun();

} // namespace recorder
