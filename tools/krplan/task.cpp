// A plan has no task status, is not visible to other processes, and takes no lock.

#include "platform/taskstatus.h"

#include "recorder/camera/cameratable.h"
#include "recorder/database/databases.h"
#include "recorder/database/idmarks.h"
#include "recorder/run/live.h"
#include "recorder/settings/settings.h"
#include "recorder/support/folder.h"
#include "recorder/support/paths.h"
#include "recorder/support/trust.h"
#include "tools/krplan/messages.h"
#include "tools/krplan/notebook.h"

#include <exception>

#include <sysexits.h>

namespace plan {

namespace {

int NoPlan(int status, const std::string& why) {
    Notebook::OfThisProcess().Add(Reason::NoPlan, why);
    Notebook::OfThisProcess().Flush();
    return status;
}

void NoteCameras() {
    for (const recorder::CameraRow& camera : recorder::ListCameras()) {
        Notebook::OfThisProcess().NoteCamera(camera.id, camera.name,
                                             recorder::WithoutTrailingSlashes(camera.storagePath));
    }
}

void NoteRunInProgress() {
    const std::string unknown = "Could not determine whether a run is in progress: ";
    Notebook& notebook = Notebook::OfThisProcess();
    try {
        const recorder::RunInProgress found = recorder::FindRunInProgress();
        switch (found.answer) {
        case recorder::RunInProgress::Answer::Yes:
            notebook.NoteRunInProgress(found.live.pid);
            break;
        case recorder::RunInProgress::Answer::Unknown:
            notebook.NoteRunInProgress(0, unknown + found.why);
            break;
        case recorder::RunInProgress::Answer::No:
            break;
        }
    } catch (const std::exception& error) {
        notebook.NoteRunInProgress(0, unknown + error.what());
    }
}

void EndJobs() {
    NoteLastFailure();
    Notebook::OfThisProcess().EndPart();
    Notebook::OfThisProcess().Flush();
}

} // namespace

} // namespace plan

namespace KRIndex {

// Fails where a run would be refused.
int RegTaskStart() {
    try {
        (void)recorder::GetSettings();
        recorder::RequireTrustedUnlinked(recorder::kLogFile);
    } catch (const std::exception& error) {
        return plan::NoPlan(EX_CONFIG, error.what());
    }
    try {
        recorder::RequireUsableIdMarks();
        recorder::Execute(KRDB::DB_SYSTEM, "SELECT name FROM task;", {.readOnly = true});
        plan::NoteCameras();
    } catch (const std::exception& error) {
        return plan::NoPlan(EX_IOERR, error.what());
    }
    plan::NoteRunInProgress();
    return 0;
}

void RegTaskDone() {
    plan::EndJobs();
    plan::Notebook::OfThisProcess().End();
}

void SetTaskPid(int /*pid*/) {}

void SetTaskProgress(double /*progress*/) {}

double GetTaskProgress() {
    return 0.0;
}

void RecordTaskStatusToConf(long /*startTime*/, int /*recordingCount*/, bool done) {
    if (done) {
        plan::EndJobs();
    }
}

} // namespace KRIndex
