// The command line of the tool and the run that it asks for.

#pragma once

#include <cstdint>
#include <ctime>

// The jobs of a run, as bits. They run in this order, whatever the order of the options.
enum ReindexJob : int32_t {
    JOB_EMAP = 1,
    JOB_SNAPSHOT = 2,
    JOB_EVENT = 4,
    JOB_ALERT_EVENT = 8,
};

// What a run was asked for, and its counters.
struct ReindexOptions {
    bool nonBlocking = false;         // run the jobs in a forked child and return at once
    bool noTaskReg = false;           // run without registering the re-index task
    int32_t camId = -1;               // camera of the recording jobs; 0 or less: all local cameras
    int32_t jobMask = 0;              // the jobs, bits of ReindexJob
    int32_t doneJobCnt = 0;           // e-map and snapshot jobs finished
    int32_t jobCnt = 0;               // job options given, repetitions counted
    int32_t eventRecCnt = 0;          // result of the recording job
    time_t startTime = time(nullptr); // start of the run
};

// Writes the usage text to standard output.
void PrintUsage();

// Registers the run, runs the jobs (in a child with `nonBlocking`), ends the task. Returns the
// process's exit status.
int Start(ReindexOptions& opt);

// Runs the requested jobs in their fixed order between the two writings of the status record.
void RunJobs(ReindexOptions& opt);

// One job each. They return the number of rows added plus removed, as attempted; the e-map and
// snapshot jobs -1 when their indexer failed.
int DoReindexEmap(ReindexOptions& opt);
int DoReindexSnapshot(ReindexOptions& opt);
int DoReindexEvent(ReindexOptions& opt, bool updateProgress);
int DoReindexAlertEvent(ReindexOptions& opt);
