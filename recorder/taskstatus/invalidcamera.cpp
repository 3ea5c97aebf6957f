#include "platform/taskstatus.h"
#include "recorder/camera/cameratable.h"
#include "recorder/database/databases.h"
#include "recorder/run/run.h"
#include "recorder/support/edge.h"
#include "recorder/support/error.h"

#include <algorithm>
#include <string>
#include <vector>

namespace recorder {

namespace {

// Ids are texts: a number beyond 32 bits is no camera, but it is named.
struct EventsNow {
    std::vector<std::string> cameras; // that events name
    std::string newest;               // of events; empty when there is none
};

// Each camera is found by a step in the index, so that what is asked costs no scan of the table.
EventsNow ReadEventsNow() {
    const DBResult_tag rows =
        Execute(KRDB::DB_RECORDING,
                "WITH RECURSIVE named (camera_id) AS ("
                "SELECT min(camera_id) FROM event UNION ALL "
                "SELECT (SELECT min(camera_id) FROM event WHERE camera_id > named.camera_id) "
                "FROM named WHERE named.camera_id IS NOT NULL) "
                "SELECT camera_id, (SELECT max(id) FROM event) FROM named "
                "WHERE camera_id IS NOT NULL;",
                {.readOnly = true});
    EventsNow events;
    for (int row = 0; row < rows.RowCount(); ++row) {
        events.cameras.emplace_back(rows.Field(row, 0));
        events.newest = rows.Field(row, 1);
    }
    return events;
}

// Of those ids the ones that no camera has, separated by ", ".
std::string WithoutCamera(const std::vector<std::string>& ids,
                          const std::vector<CameraRow>& cameras) {
    std::string gone;
    for (const std::string& id : ids) {
        const bool isThere = std::any_of(cameras.begin(), cameras.end(), [&](const auto& camera) {
            return std::to_string(camera.id) == id;
        });
        if (!isThere) {
            gone += (gone.empty() ? "" : ", ") + id;
        }
    }
    return gone;
}

void RemoveEventsOfInvalidCameras() {
    BeginPart(gszTableEvent, 0);
    // Asked before the cameras are: a camera that is added meanwhile has newer events only.
    const EventsNow events = ReadEventsNow();
    if (events.cameras.empty()) {
        return;
    }
    const std::vector<CameraRow> cameras = ListCameras();
    if (cameras.empty()) {
        const std::string why = "the camera table is empty: the events of cameras that no longer "
                                "exist are left alone";
        NoteRefusal(why);
        throw Error(why);
    }
    const std::string gone = WithoutCamera(events.cameras, cameras);
    if (!gone.empty()) {
        ExecuteInRun(KRDB::DB_RECORDING, "DELETE FROM event WHERE camera_id IN (" + gone +
                                             ") AND id <= " + events.newest + ";");
    }
}

} // namespace

} // namespace recorder

void KRIndex::RmEvtOfInvalidCamId() {
    recorder::AtEdge(recorder::RemoveEventsOfInvalidCameras);
}
