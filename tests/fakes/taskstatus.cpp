#include "platform/taskstatus.h"

#include "tests/fakes/call.h"

namespace KRIndex {

int RegTaskStart() {
    const int refused = fakes::RecordCall("RegTaskStart");
    if (refused == 0) {
        fakes::Platform().progress = 0.0;
    }
    return refused;
}

void RegTaskDone() {
    fakes::RecordCall("RegTaskDone");
}

void SetTaskPid(int pid) {
    fakes::RecordCall("SetTaskPid", pid);
}

void SetTaskProgress(double progress) {
    fakes::RecordCall("SetTaskProgress", progress);
    fakes::Platform().progress = progress;
    fakes::Platform().progressValues.push_back(progress);
}

double GetTaskProgress() {
    fakes::RecordCall("GetTaskProgress");
    return fakes::Platform().progress;
}

void RecordTaskStatusToConf(long startTime, int recordingCount, bool done) {
    fakes::RecordCall("RecordTaskStatusToConf", startTime, recordingCount, done);
}

void RmEvtOfInvalidCamId() {
    fakes::RecordCall("RmEvtOfInvalidCamId");
}

} // namespace KRIndex
