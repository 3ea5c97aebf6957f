#include "platform/taskstatus.h"

#include "recorder/backup/afterrun.h"
#include "recorder/database/databases.h"
#include "recorder/database/idmarks.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/logging/logfile.h"
#include "recorder/logging/recorderlog.h"
#include "recorder/notification/delivery.h"
#include "recorder/recording/notification.h"
#include "recorder/run/live.h"
#include "recorder/run/run.h"
#include "recorder/run/runlock.h"
#include "recorder/settings/settings.h"
#include "recorder/support/format.h"

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <sysexits.h>
#include <unistd.h>

namespace recorder {

namespace {

struct Assignment {
    const char* column;
    std::string literal;
};

// Writes columns of the task's row, which is created if it does not exist. The row is meaningless
// after a restart of the machine, so the transaction does not wait for the disk.
void UpdateTask(const std::vector<Assignment>& assignments) {
    RequireLog();
    std::string columns = "name";
    std::string literals = "'reindex'";
    std::string updates;
    for (const Assignment& assignment : assignments) {
        const std::string column = assignment.column;
        columns += ", " + column;
        literals += ", " + assignment.literal;
        updates += (updates.empty() ? "" : ", ") + column + " = excluded." + column;
    }
    Execute(KRDB::DB_SYSTEM,
            "INSERT INTO task (" + columns + ") VALUES (" + literals +
                ") ON CONFLICT (name) DO UPDATE SET " + updates + ";",
            {.awaitDisk = false});
}

// Returns whether changes are allowed: what can't be logged is not done.
bool IsLogged() {
    return LogExceptions(false, [] {
        RequireLog();
        return true;
    });
}

int Refuse(int reason, const std::string& message) {
    LogError(message);
    return reason;
}

int Register() {
    RequireUsableIdMarks(); // without that file no run can be recorded and nothing can be changed
    std::optional<RunLock> lock = RunLock::TryTake();
    if (!lock) {
        return Refuse(EX_TEMPFAIL, "another run is registered as the reindex task");
    }
    HoldRunLock(std::move(*lock));
    PublishBeginning(getpid()); // first, because the next statement may wait for the database
    try {
        UpdateTask({{"registered", "1"}, {"progress", "'0'"}, {"pid", std::to_string(getpid())}});
    } catch (const std::exception&) {
        ReleaseRunLock();
        throw;
    }
    return 0;
}

} // namespace

} // namespace recorder

namespace KRIndex {

int RegTaskStart() {
    try {
        recorder::RequireLog();
    } catch (const std::exception& error) {
        return recorder::Refuse(EX_CONFIG, error.what());
    }
    return recorder::LogExceptions(EX_IOERR, recorder::Register);
}

void RegTaskDone() {
    if (recorder::HeldRunLock() == nullptr) {
        return; // the row belongs to another run
    }
    recorder::LogExceptions([] { recorder::UpdateTask({{"registered", "0"}}); });
    recorder::ReleaseRunLock();
    recorder::PublishQueuedMessages(); // after the release: the lock must not wait for the broker
    recorder::BackUpAfterRun();        // nor for a disk
}

void SetTaskPid(int pid) {
    recorder::PublishBeginning(pid);
    recorder::LogExceptions([&] { recorder::UpdateTask({{"pid", std::to_string(pid)}}); });
}

void SetTaskProgress(double progress) {
    recorder::LogExceptions([&] {
        recorder::UpdateTask({{"progress", recorder::Format("'%.17g'", progress)}});
    });
    recorder::NoteProgress(progress);
}

double GetTaskProgress() {
    return recorder::LogExceptions(0.0, [] {
        const DBResult_tag rows =
            recorder::Execute(KRDB::DB_SYSTEM, "SELECT progress FROM task WHERE name = 'reindex';",
                              {.readOnly = true});
        return rows.RowCount() == 0 ? 0.0 : std::strtod(rows.Text(0, "progress").c_str(), nullptr);
    });
}

void RecordTaskStatusToConf(long startTime, int recordingCount, bool done) {
    if (!recorder::IsLogged()) {
        return;
    }
    if (done) {
        recorder::EndRun();
    } else {
        if (recorder::HeldRunLock() == nullptr) {
            recorder::ShowUnregisteredRun();
        }
        recorder::BeginRun(startTime);
    }
    recorder::LogExceptions([&] {
        recorder::UpdateTask({{"start_tm", std::to_string(startTime)},
                              {"recording_count", std::to_string(recordingCount)},
                              {"done", done ? "1" : "0"}});
        if (done) {
            recorder::RecordRunEnd();
        } else {
            recorder::RecordRun();
        }
    });
    if (done) {
        recorder::LogExceptions([] {
            // Without a broker, a run of other media does not open the recordings' database.
            if (recorder::IsOpen(KRDB::DB_RECORDING) ||
                recorder::GetSettings().notifications.broker) {
                recorder::AnnounceRecordings();
            }
        });
        recorder::LogExceptions(recorder::CloseRun);
        recorder::HideUnregisteredRun();
        if (recorder::HeldRunLock() == nullptr) {
            recorder::PublishQueuedMessages(); // with a lock, RegTaskDone does both
            recorder::BackUpAfterRun();
        }
    }
}

} // namespace KRIndex
