// What the recorder learns from the tool's work. The tool announces neither runs nor their parts
// nor what it counts, so the recorder taps what the tool does. These are all of the taps:
//
//   tap            taken in                            reason
//   BeginRun       RecordTaskStatusToConf, not done    the first call of every run, registered or
//   not EndRun         RecordTaskStatusToConf, done        the last one NoteProgress
//   SetTaskProgress                     the call has the value TurnToCamera   Camera::Load the
//   first call for a camera BeginPart      KRDB::Execute, a table's SELECT     a part reads its
//   table as it begins NoteKnownRows  KRDB::Execute, a table's SELECT     the result has the number
//   of rows ExecuteInRun   KRDB::Execute, every other text     what it changes is the run's work
//   CountFile      readdir64_r (walk.cpp)              the only call for each entry of the walk
//   NoteRefusal    where the recorder refuses          the reason is known there
//   IsFailure      KRPrintf (logging/failures.h)       the tool reports failures in the log only
//
// BeginPart (see tableread.h) and IsFailure recognise texts of the tool; tests/unit/taps fails when
// the tool changes them. BeginRun, EndRun and NoteProgress are declared in run.h. krplan has its
// own implementation of the functions below (tools/krplan/seam.h).

#pragma once

#include "platform/database.h"
#include "recorder/database/databases.h"

#include <string>

namespace recorder {

// Runs `sql` as Execute does, on behalf of this process's run: what it removes can be put back,
// what it adds and removes is counted for the camera of the current part. A change without a run
// that BeginRun began is recorded as a run of its own. Throws Error also when the run can't be
// recorded; nothing has changed then.
DBResult_tag ExecuteInRun(KRDB::DB_INSTANCE instance, const std::string& sql,
                          const ExecuteOptions& options = {});

// A part of the run begins, and the one before ends: a kind of media or, where the kind has
// cameras, a kind of media of one camera. `kind` is the table; `camId` is 0 where there is no
// camera. Does nothing outside of a run that BeginRun began. A failure to record the part before is
// logged.
void BeginPart(const std::string& kind, int camId);

// The tool loads a camera. A part whose kind is not known yet begins, unless the current part is
// that camera's.
void TurnToCamera(int camId);

// The number of rows that the current part had before anything was changed.
void NoteKnownRows(long rows);

// The recorder refuses what the tool asked for, as it might do harm; `why` is for people. The error
// that is logged for it is not counted as a failure too.
void NoteRefusal(const std::string& why);

// The walk has found a regular file in the folder with this descriptor.
void CountFile(int folder);

} // namespace recorder
