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

// "0" when there is no row.
std::string NewestEventId() {
    return Execute(KRDB::DB_RECORDING, "SELECT coalesce(max(id), 0) FROM event;",
                   {.readOnly = true})
        .Field(0, 0);
}

// The cameras that events name, as texts: a number beyond 32 bits is no camera, but it is named.
// Each is found by a step in the index, so that what is asked costs no scan of the table.
std::vector<std::string> CamerasOfEvents() {
    const DBResult_tag rows =
        Execute(KRDB::DB_RECORDING,
                "WITH RECURSIVE named (camera_id) AS ("
                "SELECT min(camera_id) FROM event UNION ALL "
                "SELECT (SELECT min(camera_id) FROM event WHERE camera_id > named.camera_id) "
                "FROM named WHERE named.camera_id IS NOT NULL) "
                "SELECT camera_id FROM named WHERE camera_id IS NOT NULL;",
                {.readOnly = true});
    std::vector<std::string> ids;
    ids.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        ids.emplace_back(rows.Field(row, 0));
    }
    return ids;
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
    const std::string newest = NewestEventId();
    const std::vector<std::string> named = CamerasOfEvents();
    if (named.empty()) {
        return;
    }
    const std::vector<CameraRow> cameras = ListCameras();
    if (cameras.empty()) {
        const std::string why = "the camera table is empty: the events of cameras that no longer "
                                "exist are left alone";
        NoteRefusal(why);
        throw Error(why);
    }
    const std::string gone = WithoutCamera(named, cameras);
    if (!gone.empty()) {
        ExecuteInRun(KRDB::DB_RECORDING, "DELETE FROM event WHERE camera_id IN (" + gone +
                                             ") AND id <= " + newest + ";");
    }
}

} // namespace

} // namespace recorder

void KRIndex::RmEvtOfInvalidCamId() {
    recorder::AtEdge(recorder::RemoveEventsOfInvalidCameras);
}
