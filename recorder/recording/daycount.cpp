#include "recorder/recording/daycount.h"

#include "recorder/database/databases.h"
#include "recorder/support/format.h"

namespace recorder {

std::vector<DayCount> ListDayCounts() {
    const DBResult_tag rows =
        Execute(KRDB::DB_RECORDING, "SELECT camera_id, day, count FROM recording_count;",
                {.readOnly = true});
    std::vector<DayCount> counts;
    counts.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        counts.push_back(
            {rows.Int(row, "camera_id"), rows.Long(row, "day"), rows.Long(row, "count")});
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
        changes.push_back({rows.Int(row, "camera_id"), rows.Long(row, "day"),
                           rows.Long(row, "added"), rows.Long(row, "removed")});
    }
    return changes;
}

} // namespace recorder
