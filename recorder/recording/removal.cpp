#include "platform/database.h"
#include "platform/recording.h"
#include "recorder/database/idlist.h"
#include "recorder/recording/evidence.h"
#include "recorder/run/run.h"
#include "recorder/support/edge.h"
#include "recorder/support/error.h"

#include <exception>
#include <functional>

namespace recorder {

namespace {

constexpr const char* kAlertRecordingFolder = "laRec";

void CheckFilter(const EventFilterParam& filter) {
    if (filter.limit != 0) {
        throw Error("can't remove rows by a filter with the limit " + std::to_string(filter.limit) +
                    ": expected 0, no limit");
    }
    if (filter.idList.find_first_not_of("0123456789,") != std::string::npos) {
        throw Error("can't remove rows by the ids \"" + filter.idList +
                    "\": expected numbers separated by commas");
    }
}

// Removes the rows with these ids, as far as the SQL restriction allows, once it is proven that
// they may go.
int RemoveRows(const std::string& table, const std::string& idList, const std::string& restriction,
               const std::string& subFolder) {
    if (idList.empty()) {
        return 0;
    }
    const std::string condition = "id IN (" + idList + ")" + restriction;
    try {
        DemandEvidence(table, condition, subFolder);
    } catch (const std::exception& error) {
        NoteRefusal(error.what());
        throw;
    }
    ExecuteInRun(KRDB::DB_RECORDING, "DELETE FROM " + table + " WHERE " + condition + ";");
    return 0;
}

} // namespace

} // namespace recorder

int DelUnrefRecsFromDB(EventFilterParam filter) {
    return recorder::AtEdge(-1, [&] {
        recorder::CheckFilter(filter);
        return recorder::RemoveRows(gszTableEvent, filter.idList, "", "");
    });
}

int AlertDelUnrefRecsFromDB(const std::list<int>& ids, int camId) {
    return recorder::AtEdge(-1, [&] {
        return recorder::RemoveRows(gszTableAlertEvent, recorder::JoinIds(ids, std::identity()),
                                    " AND camera_id = " + std::to_string(camId),
                                    recorder::kAlertRecordingFolder);
    });
}
