// The task-status store: registration, progress and status of the re-index task, kept where the
// package's other programs can read them during a run.
//
// There is one re-index task on a recorder. It is registered (RegTaskStart), its status record says
// "not done" (RecordTaskStatusToConf), its progress rises, its status record says "done", and it is
// ended (RegTaskDone). A run without registration uses the status record and the progress alone.
//
// What holds for the operations of all seven headers:
//
// Threads. A process of the tool has one thread, and calls every operation from it. An
// implementation may have threads of its own, but none may exist when RegTaskStart returns: a run
// in the background (-n) forks then.
//
// Processes. A run in the background is two processes. The parent calls RegTaskStart, forks, waits
// until the child has called SetTaskPid, calls nothing more (KRPrintf and RegTaskDone if it can't
// fork) and ends by returning from main, with exit handlers and static destructors; these must
// leave alone what the child uses. The child calls everything else and ends with _exit(0): nothing
// may still wait to be written when RegTaskDone returns.
//
// Exceptions. No operation may throw; each reports a failure in the way that its comment says, or
// not at all where its comment names none. The tool catches nothing: an exception ends the process
// with SIGABRT. The jobs that were left are not run, RegTaskDone is not called, the status record
// says "not done" until the next run, and destructors may not have run.

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
//   78 the recorder's settings are invalid, or users other than root and the user of this process
//      could have written them or the log.
[[nodiscard]] int RegTaskStart();

// Ends the registration that RegTaskStart made in this process or in its parent. The last progress
// and the status record stay readable. A failure is logged by the store. The recorder
// publishes its messages after that, when the next run can already be registered.
void RegTaskDone();

// Stores which process does the work of the registered run. `pid` is a process id as getpid()
// returns it. A failure is logged by the store.
void SetTaskPid(int pid);

// Stores the progress of the run, 0.0 (nothing done) to 1.0 (all done), exactly as given: the value
// that GetTaskProgress returns next has the same bits. A failure is logged by the store.
void SetTaskProgress(double progress);

// Returns the progress that was stored last, by whichever process; 0.0 when none was ever stored or
// the store can't be read.
[[nodiscard]] double GetTaskProgress();

// Writes the task's status record: when the run began (`startTime`, seconds since the epoch), the
// number of recording rows added plus removed until now (`recordingCount`), and whether the run has
// ended (`done`). It replaces the record of the previous run. The rows that are removed between a
// call with `done` false and one with `done` true are kept by the recorder as removed by one run. A
// failure is logged by the store.
void RecordTaskStatusToConf(long startTime, int recordingCount, bool done);

// Removes the event rows whose camera, local or not, is no longer in the camera table. Rows
// are kept when the camera table is empty or can't be read: that is no evidence that the cameras
// are gone. A row and its camera that are added while this runs are kept too. A failure is logged
// by the store.
void RmEvtOfInvalidCamId();

} // namespace KRIndex
