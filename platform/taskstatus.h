// The task-status store: registration, progress and status of the re-index task, kept where the
// package's other programs can read them while a run goes on.
//
// There is one re-index task on a recorder. It is registered (RegTaskStart), its status record says
// "not done" (RecordTaskStatusToConf), its progress rises, its status record says "done", and it is
// ended (RegTaskDone). A run without registration uses the status record and the progress alone.

#pragma once

namespace KRIndex {

// Registers this run as the recorder's re-index task and sets its progress to 0.0. The calling
// process becomes the worker until SetTaskPid names another.
//
// A registration belongs to the process and to every child that it forks afterwards. It ends with
// RegTaskDone or with the death of the last of them, whatever kills it, so that no run is ever
// refused because of a dead one.
//
// Returns 0 when the run is registered; otherwise nothing has changed and the value says why. Only
// its low 8 bits reach the caller's exit status, so it is 1 to 255:
//   75 another run is registered,
//   74 the store can't be read or written,
//   78 the recorder's settings are invalid, or somebody else than root and the user of this process
//      could have written them or the log.
[[nodiscard]] int RegTaskStart();

// Ends the registration that RegTaskStart made in this process or in its parent. The last progress
// and the status record stay readable. A failure is logged by the store. What the recorder has to
// publish it publishes after that, when the next run can be registered already.
void RegTaskDone();

// Names the process that does the work of the registered run. `pid` is a process id as getpid()
// returns it. A failure is logged by the store.
void SetTaskPid(int pid);

// Stores the progress of the run, 0.0 (nothing done) to 1.0 (all done), exactly as given: the value
// that GetTaskProgress returns next has the same bits. A failure is logged by the store.
void SetTaskProgress(double progress);

// Returns the progress that was stored last, by whichever process; 0.0 when none was ever stored or
// the store can't be read.
[[nodiscard]] double GetTaskProgress();

// Writes the task's status record: when the run began (`startTime`, seconds since the epoch), the
// number of recording rows added plus removed so far (`recordingCount`), and whether the run is
// over (`done`). It replaces the record of the run before. The rows that are removed between a call
// with `done` false and one with `done` true are kept by the recorder as removed by one run. A
// failure is logged by the store.
void RecordTaskStatusToConf(long startTime, int recordingCount, bool done);

// Removes the event rows whose camera is no longer in the camera table, be it local or not. Rows
// are kept when the camera table is empty or can't be read: that is no evidence that the cameras
// are gone. A row and its camera that are added while this runs are kept too. A failure is logged
// by the store.
void RmEvtOfInvalidCamId();

} // namespace KRIndex
