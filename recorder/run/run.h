// The run of the re-index tool that this process does, and what is kept of it.
//
// A run has parts, one for each kind of media and, where the kind has cameras, for each of these.
// The tool doesn't announce them; the recorder knows them by what the tool asks for.

#pragma once

#include "platform/database.h"
#include "recorder/database/databases.h"

#include <string>

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

// Runs `sql` as Execute does, on behalf of this process's run: what it removes can be put back,
// what it adds and removes is counted for the camera of the part that goes on. Changes that were
// not announced by BeginRun are a run, too. Throws Error also when the run can't be put on record;
// nothing has then changed.
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

// The run ends now, and its last part.
void EndRun();

// Puts that on record, and forgets removals and parts that were kept for as long as the settings
// say. Throws Error: CloseRun tries it again.
void RecordRunEnd();

// The process is done with its run: what failed since RecordRunEnd is added to the record. Throws
// Error.
void CloseRun();

} // namespace recorder
