#include "recorder/ledger/undo.h"

#include "platform/recording.h"
#include "recorder/database/databases.h"
#include "recorder/database/mediatable.h"
#include "recorder/run/runlock.h"
#include "recorder/support/error.h"

#include <algorithm>
#include <cstdlib>

namespace recorder {

namespace {

void DemandRun(long run) {
    const std::string id = std::to_string(run);
    if (Execute(KRDB::DB_SYSTEM, "SELECT id FROM run WHERE id = " + id + ";").RowCount() == 0) {
        throw Error("there is no run " + id + "; \"krctl runs\" lists them");
    }
}

RunLock TakeRunLock() {
    std::optional<RunLock> lock = RunLock::TryTake();
    if (!lock) {
        throw Error("a run is in progress: nothing is put back before it has ended");
    }
    return std::move(*lock);
}

bool IsSelected(const MediaTable& table, const UndoSelection& selection) {
    const bool hasCamera =
        std::find(table.columns.begin(), table.columns.end(), "camera_id") != table.columns.end();
    return (!selection.kind || *selection.kind == table.name) && (!selection.camId || hasCamera);
}

// Yields how many rows of the selection the ledger holds, before and after.
std::string UndoSql(const MediaTable& table, const UndoSelection& selection) {
    std::string chosen =
        "run = " + std::to_string(selection.run) + " AND kind = '" + table.name + "'";
    if (selection.camId) {
        chosen += " AND camera_id = " + std::to_string(*selection.camId);
    }
    const std::string count = "SELECT count(*) AS kept FROM removed WHERE " + chosen + ";";
    const std::string columns = ColumnList(table.columns);
    return count + "INSERT INTO " + table.name + " (id, " + columns + ") SELECT row_id, " +
           columns + " FROM removed WHERE " + chosen +
           " ON CONFLICT DO NOTHING;"
           // Ids are never used twice: a row of this id is the one that was put back.
           "DELETE FROM removed WHERE " +
           chosen + " AND EXISTS (SELECT 1 FROM " + table.name +
           " AS back WHERE back.id = removed.row_id);" + count;
}

UndoneKind UndoTable(const MediaTable& table, const UndoSelection& selection) {
    const DBResult_tag kept = Execute(table.instance, UndoSql(table, selection));
    const long before = std::strtol(kept.Field(0, 0), nullptr, 10);
    const long after = std::strtol(kept.Field(1, 0), nullptr, 10);
    return {table.name, before - after, after};
}

} // namespace

std::vector<UndoneKind> Undo(const UndoSelection& selection) {
    const RunLock lock = TakeRunLock();
    DemandRun(selection.run);
    std::vector<UndoneKind> undone;
    for (const MediaTable& table : MediaTables()) {
        if (!IsSelected(table, selection)) {
            continue;
        }
        const UndoneKind kind = UndoTable(table, selection);
        if (kind.restored + kind.left > 0) {
            undone.push_back(kind);
        }
    }
    if (RecordingCount::Recount() != 0) {
        throw Error("the rows are back, but the recording counts could not be brought in line; the "
                    "log says why");
    }
    return undone;
}

} // namespace recorder
