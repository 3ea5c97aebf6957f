// How the recorder learns what the tool does. The tool announces neither runs nor their parts nor
// what it counts, so the recorder observes (taps) the tool's calls. These are all taps:
//
// - BeginRun: RecordTaskStatusToConf with "not done", the first call of every run
// - EndRun: RecordTaskStatusToConf with "done", the last call of every run
// - NoteProgress: SetTaskProgress, which has the value
// - TurnToCamera: Camera::Load, the first call for a camera
// - BeginPart: KRDB::Execute with the SELECT of a table, with which a part begins
// - NoteKnownRows: the same SELECT, whose result has the number of rows
// - RequireWithinLimit (brake.h): KRDB::Execute with the DELETE of a media table
// - ExecuteInRun: KRDB::Execute with any other text, whose changes are the run's
// - CountFile: readdir64_r (walk.cpp), the only call for each entry of the walk
// - AheadReachesFile, AheadLeavesFolder (ahead/ahead.h): readdir64_r (walk.cpp), too
// - AheadReadsHeaders, AheadMadeThumbnail: Reidx::GetEvtRecInfo and CreateThumbnail, the only calls
//   for which the tool opens a file
// - NoteRefusal: the places where the recorder refuses, which know the reason
// - NoteUnreadable, NoteListed: opendir, readdir64_r and stat64 (walk.cpp), and the places where a
//   file or folder could not be read
// - IsFailure: KRPrintf (logging/failures.h), because the tool reports failures only in the log
//
// Rows that a run adds and removes need no tap: triggers count each row for its own camera
// (Database::AttributeTo), whatever part is in progress.
//
// BeginPart, RequireWithinLimit (see toolsql.h) and IsFailure recognise texts of the tool;
// tests/unit/taps fails if the tool changes them. BeginRun, EndRun and NoteProgress are declared in
// run.h. krplan has its own implementation of the functions below (tools/krplan/seam.h).

#pragma once

#include "platform/database.h"
#include "recorder/database/databases.h"

#include <string>

namespace recorder {

// Runs `sql` like Execute, as part of this process's run: removed rows can be restored, and added
// and removed rows are counted for their own cameras. Without a call of BeginRun, the changes are
// recorded as a separate run. Throws Error also when the run can't be recorded; nothing has changed
// then.
DBResult_tag ExecuteInRun(KRDB::DB_INSTANCE instance, const std::string& sql,
                          const ExecuteOptions& options = {});

// Ends the current part of the run, if there is one, and begins the next: one kind of media or,
// where the kind has cameras, of one camera. `kind` is the table; `camId` is 0 without a camera.
// Does nothing unless BeginRun was called. A failure to record the ended part is logged.
void BeginPart(const std::string& kind, int camId);

// The tool loads a camera. Begins a part whose kind is not known yet, unless the current part is
// that of the camera.
void TurnToCamera(int camId);

// Sets the number of rows that the current part had before it changed any.
void NoteKnownRows(long rows);

// The number set by NoteKnownRows in the current part, if that is the part of this kind and camera
// and has the number; else 0.
[[nodiscard]] long KnownRows(const std::string& kind, const std::string& camera);

// The recorder refuses a request of the tool that might do harm; `why` is for people. The error
// logged for the refusal is not counted as a failure.
void NoteRefusal(const std::string& why);

// What a later run has to do to find a file or folder readable again.
enum class Unreadable {
    File,   // a file that has a row, or gets one: only the run that adds the row opens it
    InWalk, // a folder, or a file without a row: every run tries again
};

// A file or folder of the current part could not be read. `path` is absolute, `why` is for people.
// The failure itself is logged by the caller.
void NoteUnreadable(const std::string& path, const std::string& why,
                    Unreadable what = Unreadable::File);

// The walk has read a folder of the current part to its end.
void NoteListed(const std::string& folder);

// The walk has visited a regular file in the folder with this descriptor.
void CountFile(int folder);

} // namespace recorder
