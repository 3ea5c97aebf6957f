#include "platform/taskstatus.h"
#include "recorder/camera/cameratable.h"
#include "recorder/database/databases.h"
#include "recorder/database/idlist.h"
#include "recorder/run/run.h"
#include "recorder/support/edge.h"
#include "recorder/support/error.h"

#include <functional>
#include <string>

namespace recorder {

namespace {

// "0" when there is no row.
std::string NewestEventId() {
    return Execute(KRDB::DB_RECORDING, "SELECT coalesce(max(id), 0) FROM event;",
                   {.readOnly = true})
        .Field(0, 0);
}

void RemoveEventsOfInvalidCameras() {
    BeginPart(gszTableEvent, 0);
    // Asked before the cameras are: a camera that is added meanwhile has newer events only.
    const std::string newest = NewestEventId();
    const std::vector<CameraRow> cameras = ListCameras();
    if (cameras.empty() && newest == "0") {
        return;
    }
    if (cameras.empty()) {
        const std::string why = "the camera table is empty: the events of cameras that no longer "
                                "exist are left alone";
        NoteRefusal(why);
        throw Error(why);
    }
    ExecuteInRun(KRDB::DB_RECORDING, "DELETE FROM event WHERE camera_id NOT IN (" +
                                         JoinIds(cameras, std::mem_fn(&CameraRow::id)) +
                                         ") AND id <= " + newest + ";");
}

} // namespace

} // namespace recorder

void KRIndex::RmEvtOfInvalidCamId() {
    recorder::AtEdge(recorder::RemoveEventsOfInvalidCameras);
}
