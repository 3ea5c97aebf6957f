#include "platform/database.h"
#include "platform/recording.h"
#include "recorder/database/databases.h"
#include "recorder/database/idlist.h"
#include "recorder/recording/evidence.h"
#include "recorder/run/run.h"
#include "recorder/support/edge.h"
#include "recorder/support/error.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <functional>
#include <vector>

namespace recorder {

namespace {

constexpr const char* kAlertRecordingFolder = "laRec";

void CheckFilter(const EventFilterParam& filter) {
    if (filter.limit != 0) {
        throw Error("can't remove rows by a filter with the limit " + std::to_string(filter.limit) +
                    ": expected 0, no limit");
    }
}

// The ids come in the order of a hash map. An engine finds sorted ones in half the time.
std::vector<long> SortedIds(const std::string& idList) {
    std::vector<long> ids;
    const char* const end = idList.data() + idList.size();
    for (const char* at = idList.data(); at != end;) {
        long id = 0;
        const auto [stop, error] = std::from_chars(at, end, id);
        if (*at == '-' || error != std::errc() || (stop != end && *stop != ',') ||
            stop + 1 == end) {
            throw Error("can't remove rows by the ids \"" + idList +
                        "\": expected numbers separated by commas");
        }
        ids.push_back(id);
        at = stop == end ? end : stop + 1;
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

// Removes the rows with these ids, as far as the SQL restriction allows, once it is proven that
// they may go.
int RemoveRows(const std::string& table, const std::vector<long>& ids,
               const std::string& restriction, const std::string& subFolder) {
    if (ids.empty()) {
        return 0;
    }
    const std::string idList = JoinIds(ids, std::identity());
    try {
        DemandEvidence(table, RowsWithIds(KRDB::DB_RECORDING, table, idList) + restriction,
                       subFolder);
    } catch (const std::exception& error) {
        NoteRefusal(error.what());
        throw;
    }
    ExecuteInRun(KRDB::DB_RECORDING, "DELETE FROM " + table + " WHERE " +
                                         HasIdOf(KRDB::DB_RECORDING, idList) + restriction + ";");
    return 0;
}

} // namespace

} // namespace recorder

int DelUnrefRecsFromDB(EventFilterParam filter) {
    return recorder::AtEdge(-1, [&] {
        recorder::CheckFilter(filter);
        return recorder::RemoveRows(gszTableEvent, recorder::SortedIds(filter.idList), "", "");
    });
}

int AlertDelUnrefRecsFromDB(const std::list<int>& ids, int camId) {
    return recorder::AtEdge(-1, [&] {
        std::vector<long> sorted(ids.begin(), ids.end());
        std::sort(sorted.begin(), sorted.end());
        return recorder::RemoveRows(gszTableAlertEvent, sorted,
                                    " AND camera_id = " + std::to_string(camId),
                                    recorder::kAlertRecordingFolder);
    });
}
