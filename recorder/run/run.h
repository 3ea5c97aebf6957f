// The run of the re-index tool that this process does, and what is kept of it.
//
// A run has parts, one for each kind of media and, where the kind has cameras, for each of these.
// The tool doesn't announce them; the recorder knows them by what the tool asks for.

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

// Runs `sql` as Execute does, on behalf of this process's run: what it removes can be put back,
// what it adds and removes is counted for the camera of the part that goes on. Throws Error also
// when the run can't be recorded; nothing has then changed.
DBResult_tag ExecuteInRun(KRDB::DB_INSTANCE instance, const std::string& sql,
                          const ExecuteOptions& options = {});

// A part begins, and the one before is over. `kind` is the table; `camId` is 0 where there is no
// camera. Nothing happens outside of a run that BeginRun began. A failure to record the part that
// is over is logged.
void BeginPart(const std::string& kind, int camId);

// The tool turns to a camera: unless it was at work on it already, a part begins whose kind isn't
// known yet.
void TurnToCamera(int camId);

// The part has so many rows before anything was changed.
void NoteKnownRows(long rows);

// The recorder declines to do what the tool asked for, as it might do harm. `why` for people. The
// error that is logged for it doesn't count as a failure besides.
void NoteRefusal(const std::string& why);

// The share of the run that is done, 0.0 to 1.0.
void NoteProgress(double progress);

// The walk has come to a regular file in the folder with this descriptor.
void CountFile(int folder);

// Records that the run has ended, and forgets removals and parts that were kept for as long as the
// settings say. Throws Error.
void EndRun();

} // namespace recorder
