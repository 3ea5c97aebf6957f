#include "platform/taskstatus.h"
#include "recorder/camera/cameratable.h"
#include "recorder/database/databases.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/logging/recorderlog.h"
#include "recorder/run/brake.h"
#include "recorder/run/pacedremoval.h"
#include "recorder/run/taps.h"
#include "recorder/support/error.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace recorder {

namespace {

// Ids are texts: a number of more than 32 bits is not a camera's id, but rows can contain it.
struct EventsNow {
    std::vector<std::string> cameras; // every camera id that an event has
    std::string newest;               // highest id of an event; empty if there are no events
};

// The recursion finds each camera by one step in the index, without a scan of the table.
EventsNow ReadEventsNow() {
    const DBResult_tag rows =
        Execute(KRDB::DB_RECORDING,
                "WITH RECURSIVE named (camera_id) AS ("
                "SELECT min(camera_id) FROM event UNION ALL "
                "SELECT (SELECT min(camera_id) FROM event WHERE camera_id > named.camera_id) "
                "FROM named WHERE named.camera_id IS NOT NULL) "
                "SELECT camera_id, (SELECT max(id) FROM event) AS newest FROM named "
                "WHERE camera_id IS NOT NULL;",
                {.readOnly = true});
    EventsNow events;
    for (int row = 0; row < rows.RowCount(); ++row) {
        events.cameras.emplace_back(rows.Text(row, "camera_id"));
        events.newest = rows.Text(row, "newest");
    }
    return events;
}

// The camera ids of events that no camera has, separated by ", ". Throws Error if the camera table
// is empty.
std::string GoneCameras(const EventsNow& events) {
    std::set<std::string> existing;
    for (const CameraRow& camera : ListCameras()) {
        existing.insert(std::to_string(camera.id));
    }
    if (existing.empty()) {
        const std::string why = "the camera table is empty: the events of cameras that no longer "
                                "exist are kept";
        NoteRefusal(why);
        throw Error(why);
    }
    std::string gone;
    for (const std::string& id : events.cameras) {
        if (!existing.contains(id)) {
            gone += (gone.empty() ? "" : ", ") + id;
        }
    }
    return gone;
}

// The cameras of which the brake allows to remove these events, separated by ", "; "NULL" for none.
std::string WithoutBraked(const RowsByCamera& events) {
    const std::map<std::string, std::string> braked =
        Braked(KRDB::DB_RECORDING, gszTableEvent, events);
    std::string allowed;
    for (const auto& [camera, count] : events) {
        const auto found = braked.find(camera);
        if (found == braked.end()) {
            allowed += (allowed.empty() ? "" : ", ") + camera;
        } else {
            NoteRefusal(found->second);
            LogError(found->second);
        }
    }
    return allowed.empty() ? "NULL" : allowed;
}

std::vector<long> IdsOfEvents(const std::string& condition) {
    const DBResult_tag rows =
        Execute(KRDB::DB_RECORDING, "SELECT id FROM event WHERE " + condition + " ORDER BY id;",
                {.readOnly = true});
    std::vector<long> ids;
    ids.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        ids.push_back(rows.Long(row, "id"));
    }
    return ids;
}

void RemoveEventsOfInvalidCameras() {
    BeginPart(gszTableEvent, 0);
    // Events are read before the cameras: a camera that is added in between has only newer events.
    const EventsNow events = ReadEventsNow();
    if (events.cameras.empty()) {
        return;
    }
    const std::string gone = GoneCameras(events);
    if (gone.empty()) {
        return;
    }
    const std::string condition = " AND id <= " + events.newest;
    const std::string allowed = WithoutBraked(
        CountRows(KRDB::DB_RECORDING, gszTableEvent, "camera_id IN (" + gone + ")" + condition));
    const std::vector<long> ids = IdsOfEvents("camera_id IN (" + allowed + ")" + condition);
    // The cameras are read again for each transaction, because one can be added between two.
    RemoveRows(KRDB::DB_RECORDING, gszTableEvent, ids, [&](std::size_t, std::size_t) {
        const std::string stillGone = GoneCameras(events);
        return stillGone.empty() ? " AND 1 = 0" : " AND camera_id IN (" + stillGone + ")";
    });
}

} // namespace

} // namespace recorder

void KRIndex::RmEvtOfInvalidCamId() {
    recorder::LogExceptions(recorder::RemoveEventsOfInvalidCameras);
}
