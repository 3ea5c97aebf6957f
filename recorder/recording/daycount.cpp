#include "recorder/recording/daycount.h"

#include "recorder/database/databases.h"
#include "recorder/support/format.h"

#include <cstdlib>

namespace recorder {

namespace {

long ToLong(const char* text) {
    return std::strtol(text, nullptr, 10);
}

} // namespace

std::vector<DayCount> ListDayCounts() {
    const DBResult_tag rows =
        Execute(KRDB::DB_RECORDING, "SELECT camera_id, day, count FROM recording_count;",
                {.readOnly = true});
    std::vector<DayCount> counts;
    counts.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        counts.push_back({static_cast<int>(ToLong(rows.Field(row, 0))), ToLong(rows.Field(row, 1)),
                          ToLong(rows.Field(row, 2))});
    }
    return counts;
}

std::vector<DayChange> ChangesByDay(long run, long token) {
    const DBResult_tag rows = Execute(
        KRDB::DB_RECORDING,
        Format("SELECT camera_id, day, added, removed FROM run_day WHERE run = %ld AND EXISTS "
               "(SELECT 1 FROM run_count WHERE run_count.run = %ld AND token = %ld);",
               run, run, token),
        {.readOnly = true});
    std::vector<DayChange> changes;
    changes.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        changes.push_back({static_cast<int>(ToLong(rows.Field(row, 0))), ToLong(rows.Field(row, 1)),
                           ToLong(rows.Field(row, 2)), ToLong(rows.Field(row, 3))});
    }
    return changes;
}

} // namespace recorder
