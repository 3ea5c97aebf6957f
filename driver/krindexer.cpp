#include "driver/krindexer.h"

#include "driver/krreindex.h"
#include "indexer/reindexlog.h"
#include "platform/camera.h"
#include "platform/recording.h"
#include "platform/taskstatus.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <list>

#include <unistd.h>

namespace {

constexpr int kExitUsage = -1;
constexpr int kExitPipeFailed = 1;

void AddJob(ReindexOptions& opt, ReindexJob job) {
    opt.jobMask |= job;
    ++opt.jobCnt;
}

// No validation: what has no leading number is 0, and that means all cameras.
int32_t ParseCamId(const char* text) {
    return static_cast<int32_t>(std::strtol(text, nullptr, 10));
}

// Applies one option other than help; false when there is no such option.
bool ApplyOption(ReindexOptions& opt, int option) {
    switch (option) {
    case 'n':
        opt.nonBlocking = true;
        return true;
    case 'r':
        AddJob(opt, JOB_EVENT);
        opt.camId = ParseCamId(optarg);
        return true;
    case 'a':
        AddJob(opt, JOB_ALERT_EVENT);
        opt.camId = ParseCamId(optarg);
        return true;
    case 's':
        AddJob(opt, JOB_SNAPSHOT);
        return true;
    case 'e':
        AddJob(opt, JOB_EMAP);
        return true;
    case 'o':
        opt.noTaskReg = true;
        return true;
    default:
        return false;
    }
}

// The child of a run that doesn't block: closing the pipe's write end tells the parent that the
// task store names this process by now. The parent's exit handlers must not run here.
[[noreturn]] void RunChild(ReindexOptions& opt, int readEnd, int writeEnd) {
    close(readEnd);
    KRIndex::SetTaskPid(getpid());
    close(writeEnd);
    RunJobs(opt);
    KRIndex::RegTaskDone();
    _exit(0);
}

// Nothing is ever written to the pipe: the read ends when the child has closed its end, or died.
void WaitForChild(int readEnd, int writeEnd) {
    close(writeEnd);
    int nothing = 0;
    [[maybe_unused]] const ssize_t ignored = read(readEnd, &nothing, sizeof nothing);
    close(readEnd);
}

std::list<int> SelectedCameras(const ReindexOptions& opt) {
    if (opt.camId <= 0) {
        return CamGetIdList(true, 0);
    }
    return {opt.camId};
}

// What one camera adds to the progress of the whole run.
double CameraShare(const ReindexOptions& opt, const std::list<int>& camIds) {
    return (1.0 / static_cast<double>(camIds.size())) / static_cast<double>(opt.jobCnt);
}

void FinishWholeStepJob(ReindexOptions& opt) {
    ++opt.doneJobCnt;
    KRIndex::SetTaskProgress(static_cast<double>(opt.doneJobCnt) / static_cast<double>(opt.jobCnt));
}

} // namespace

void PrintUsage() {
    const auto printOption = [](const char* option, const char* description) {
        std::printf("\t%-12s%s\n", option, description);
    };
    std::puts("Usage:");
    printOption("-h", "help");
    printOption("-n", "non-blocking (fork to do the job)");
    printOption("-r camId",
                "re-index recording files of camId. (specify '-1' for all local cameras)");
    printOption("-a camId",
                "re-index alert recording files of camId. (specify '-1' for all local cameras)");
    printOption("-s", "re-index snapshot files.");
    printOption("-e", "re-index emap files.");
}

int main(int argc, char** argv) {
    ReindexOptions opt;
    int option = 0;
    while ((option = getopt(argc, argv, "hnr:a:seo")) != -1) {
        if (option == 'h') {
            PrintUsage();
            return 0;
        }
        if (!ApplyOption(opt, option)) {
            PrintUsage();
            return kExitUsage;
        }
    }
    return Start(opt);
}

int Start(ReindexOptions& opt) {
    if (opt.jobCnt == 0) {
        return 0;
    }
    if (!opt.noTaskReg) {
        const int refused = KRIndex::RegTaskStart();
        if (refused != 0) {
            REINDEX_LOG_ALWAYS("Failed to register reindex task.\n");
            return refused;
        }
    }
    if (opt.noTaskReg || !opt.nonBlocking) {
        RunJobs(opt);
        if (!opt.noTaskReg) {
            KRIndex::RegTaskDone();
        }
        return 0;
    }

    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        REINDEX_LOG_ALWAYS("Pipe failed with errno [%d]\n", errno);
        KRIndex::RegTaskDone();
        return kExitPipeFailed;
    }
    const auto [readEnd, writeEnd] = ends;
    const pid_t child = fork();
    if (child == -1) {
        REINDEX_LOG_ALWAYS("Fork failed with errno [%d].\n", errno);
        close(readEnd);
        close(writeEnd);
        KRIndex::RegTaskDone();
        return 0; // unlike a failed pipe
    }
    if (child == 0) {
        RunChild(opt, readEnd, writeEnd);
    }
    WaitForChild(readEnd, writeEnd);
    return 0;
}

void RunJobs(ReindexOptions& opt) {
    KRIndex::RecordTaskStatusToConf(opt.startTime, opt.eventRecCnt, false);
    if ((opt.jobMask & JOB_EMAP) != 0) {
        DoReindexEmap(opt);
    }
    if ((opt.jobMask & JOB_SNAPSHOT) != 0) {
        DoReindexSnapshot(opt);
    }
    if ((opt.jobMask & JOB_EVENT) != 0) {
        opt.eventRecCnt = DoReindexEvent(opt, !opt.noTaskReg);
    }
    if ((opt.jobMask & JOB_ALERT_EVENT) != 0) {
        DoReindexAlertEvent(opt);
    }
    KRIndex::RecordTaskStatusToConf(opt.startTime, opt.eventRecCnt, true);
}

int DoReindexEmap(ReindexOptions& opt) {
    REINDEX_LOG(LOG_LEVEL_NOTICE, "Start to re-index emap.\n");
    const int recCnt = ReindexEmap();
    REINDEX_LOG(LOG_LEVEL_NOTICE, "Re-index emap complete with re-indexed record cnt [%d].\n",
                recCnt);
    FinishWholeStepJob(opt);
    return recCnt;
}

int DoReindexSnapshot(ReindexOptions& opt) {
    REINDEX_LOG(LOG_LEVEL_NOTICE, "Start to re-index snapshot.\n");
    const int recCnt = ReindexSnapshot();
    REINDEX_LOG(LOG_LEVEL_NOTICE, "Re-index snapshot complete with re-indexed record cnt [%d].\n",
                recCnt);
    FinishWholeStepJob(opt);
    return recCnt;
}

int DoReindexEvent(ReindexOptions& opt, bool updateProgress) {
    REINDEX_LOG(LOG_LEVEL_NOTICE, "Start to re-index event.\n");
    const std::list<int> camIds = SelectedCameras(opt);
    double progress = updateProgress ? KRIndex::GetTaskProgress() : 0.0;
    int total = 0;
    for (const int camId : camIds) {
        const int recCnt = ReindexEvent(camId);
        if (recCnt > 0) {
            total += recCnt;
        }
        if (updateProgress) {
            progress += CameraShare(opt, camIds);
            KRIndex::SetTaskProgress(progress);
        }
    }
    KRIndex::RmEvtOfInvalidCamId();
    RecordingCount::Recount();
    REINDEX_LOG(LOG_LEVEL_NOTICE, "Re-index event complete with re-indexed record cnt [%d].\n",
                total);
    return total;
}

int DoReindexAlertEvent(ReindexOptions& opt) {
    REINDEX_LOG(LOG_LEVEL_NOTICE, "Start to re-index alert event.\n");
    double progress = KRIndex::GetTaskProgress();
    const std::list<int> camIds = SelectedCameras(opt);
    int total = 0;
    for (const int camId : camIds) {
        const int recCnt = ReindexAlertEvent(camId);
        if (recCnt > 0) {
            total += recCnt;
        }
        progress += CameraShare(opt, camIds);
        KRIndex::SetTaskProgress(progress);
    }
    REINDEX_LOG(LOG_LEVEL_NOTICE,
                "Re-index alert event complete with re-indexed record cnt [%d].\n", total);
    return total;
}
