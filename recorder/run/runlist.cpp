#include "recorder/run/runlist.h"

#include "recorder/database/databases.h"
#include "recorder/database/mediatable.h"

#include <algorithm>
#include <cstdlib>
#include <map>

namespace recorder {

namespace {

using ChangesByRun = std::map<long, std::vector<RunChange>>;

long ToLong(const char* text) {
    return std::strtol(text, nullptr, 10);
}

// What runs did to one table, its ledger counted.
void AddChanges(const MediaTable& table, ChangesByRun& changes) {
    const DBResult_tag rows =
        Execute(table.instance,
                "SELECT run, sum(added), sum(removed), "
                "(SELECT count(*) FROM removed WHERE removed.run = run_count.run "
                "AND removed.kind = '" +
                    table.name +
                    "') AS undoable "
                    "FROM run_count WHERE kind = '" +
                    table.name + "' GROUP BY run;",
                {.readOnly = true});
    for (int row = 0; row < rows.RowCount(); ++row) {
        changes[ToLong(rows.Field(row, 0))].push_back({table.name, ToLong(rows.Field(row, 1)),
                                                       ToLong(rows.Field(row, 2)),
                                                       ToLong(rows.Field(row, 3))});
    }
}

} // namespace

std::vector<RunRecord> ListRuns() {
    ChangesByRun changes;
    for (const MediaTable& table : MediaTables()) {
        AddChanges(table, changes);
    }
    const DBResult_tag rows =
        Execute(KRDB::DB_SYSTEM, "SELECT id, pid, start_tm, end_tm FROM run ORDER BY id DESC;",
                {.readOnly = true});
    std::vector<RunRecord> runs;
    for (int row = 0; row < rows.RowCount(); ++row) {
        RunRecord run;
        run.id = ToLong(rows.Field(row, 0));
        run.pid = static_cast<int>(ToLong(rows.Field(row, 1)));
        run.startTm = ToLong(rows.Field(row, 2));
        if (const char* const endTm = rows.Field(row, 3)) {
            run.endTm = ToLong(endTm);
        }
        run.changes = std::move(changes[run.id]);
        runs.push_back(std::move(run));
    }
    return runs;
}

} // namespace recorder
