// The run of the re-index tool that this process does, from its beginning to its end, and its
// record in the databases. What happens in between comes in through taps.h.

#pragma once

namespace recorder {

// A run begins in this process. `startTm` in seconds since the epoch. From here on its failures are
// counted, those that were logged since the run before among them; the databases know nothing of it
// yet.
void BeginRun(long startTm);

// Puts the run on record, unless it is already; `waitForLock` as in ExecuteOptions. Throws Error:
// it can be tried again.
void RecordRun(bool waitForLock = true);

// The number under which this process's run is on record; 0 when it isn't.
[[nodiscard]] long RunNumber();

// The share of the run that is done, 0.0 to 1.0.
void NoteProgress(double progress);

// The run ends now, and its last part.
void EndRun();

// Puts that on record, and forgets removals and parts that were kept for as long as the settings
// say. Throws Error: CloseRun tries it again.
void RecordRunEnd();

// The process is done with its run: what failed since RecordRunEnd is added to the record. Throws
// Error.
void CloseRun();

} // namespace recorder
