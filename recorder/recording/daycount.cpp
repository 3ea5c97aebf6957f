#include "recorder/recording/daycount.h"

#include "recorder/database/databases.h"

#include <cstdlib>
#include <string>

namespace recorder {

namespace {

long ToLong(const char* text) {
    return std::strtol(text, nullptr, 10);
}

} // namespace

std::vector<DayCount> ListDayCounts() {
    const DBResult_tag rows =
        Execute(KRDB::DB_RECORDING, "SELECT camera_id, day, count, stamp FROM recording_count;",
                {.readOnly = true});
    std::vector<DayCount> counts;
    counts.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        counts.push_back({static_cast<int>(ToLong(rows.Field(row, 0))), ToLong(rows.Field(row, 1)),
                          ToLong(rows.Field(row, 2)), ToLong(rows.Field(row, 3))});
    }
    return counts;
}

std::vector<DayRemoval> RemovalsByDay(long run) {
    const DBResult_tag rows =
        Execute(KRDB::DB_RECORDING,
                "SELECT camera_id, (start_tm - ((start_tm % 86400) + 86400) % 86400) / 86400, "
                "count(*) FROM removed WHERE run = " +
                    std::to_string(run) + " AND kind = 'event' GROUP BY 1, 2;",
                {.readOnly = true});
    std::vector<DayRemoval> removals;
    removals.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        removals.push_back({static_cast<int>(ToLong(rows.Field(row, 0))),
                            ToLong(rows.Field(row, 1)), ToLong(rows.Field(row, 2))});
    }
    return removals;
}

} // namespace recorder
