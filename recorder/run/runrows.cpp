#include "recorder/run/runrows.h"

#include "recorder/database/databases.h"
#include "recorder/database/mediaselection.h"
#include "recorder/database/mediatable.h"
#include "recorder/support/format.h"

#include <utility>

namespace recorder {

namespace {

using TakeRow = std::function<void(const RunRow&)>;

std::string FileColumn(const MediaTable& table) {
    return HasCameras(table) ? "path" : "filename";
}

// The condition for rows of the run in `added` or `removed`. A database has rows of only one run of
// each number.
std::string OfRunSql(const MediaTable& table, const RunRecord& run) {
    const char* const kind = table.name.c_str();
    return Format("run = %ld AND kind = '%s' AND EXISTS (SELECT 1 FROM run_count WHERE "
                  "run_count.run = %ld AND token = %ld AND run_count.kind = '%s')",
                  run.id, kind, run.id, run.token, kind);
}

// Passes on rows with the columns row_id, camera_id and file.
void TakeRows(const DBResult_tag& rows, RunRow row, bool hasRemover, const TakeRow& take) {
    for (int i = 0; i < rows.RowCount(); ++i) {
        row.id = rows.Long(i, "row_id");
        row.camId = rows.Int(i, "camera_id");
        row.file = rows.Text(i, "file");
        row.removedBy = hasRemover ? rows.Long(i, "run") : 0;
        take(row);
    }
}

struct IdRange {
    long first = 0;
    long last = 0;
};

std::vector<IdRange> NextRanges(const MediaTable& table, const RunRecord& run, long after) {
    const DBResult_tag rows = Execute(
        table.instance,
        "SELECT first_id, last_id FROM added WHERE " + OfRunSql(table, run) +
            Format(" AND first_id > %ld ORDER BY first_id LIMIT %d;", after, kRowsPerTransaction),
        {.readOnly = true});
    std::vector<IdRange> ranges;
    ranges.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int i = 0; i < rows.RowCount(); ++i) {
        ranges.push_back({rows.Long(i, "first_id"), rows.Long(i, "last_id")});
    }
    return ranges;
}

// The rows of the ranges that begin with these ids and exist.
void TakeExisting(const MediaTable& table, const RunRecord& run, const IdRange& firsts,
                  const TakeRow& take) {
    const std::string name = table.name;
    const DBResult_tag rows = Execute(
        table.instance,
        "SELECT " + name + ".id AS row_id, " + (HasCameras(table) ? name + ".camera_id" : "0") +
            " AS camera_id, " + name + "." + FileColumn(table) + " AS file FROM added JOIN " +
            name + " ON " + name + ".id BETWEEN added.first_id AND added.last_id WHERE " +
            Format("added.run = %ld AND added.kind = '%s' AND added.first_id BETWEEN %ld AND %ld "
                   "ORDER BY row_id;",
                   run.id, name.c_str(), firsts.first, firsts.last),
        {.readOnly = true});
    TakeRows(rows, {.change = RunRow::Change::Added, .kind = name}, false, take);
}

// Returns false if the run added no rows to the table.
bool TakeAddedThatExist(const MediaTable& table, const RunRecord& run, const TakeRow& take) {
    bool hasAdded = false;
    long after = 0;
    for (std::vector<IdRange> ranges = NextRanges(table, run, after); !ranges.empty();
         ranges = NextRanges(table, run, after)) {
        hasAdded = true;
        IdRange firsts{ranges.front().first, 0};
        long rows = 0;
        for (const IdRange& range : ranges) {
            firsts.last = range.first;
            rows += range.last - range.first + 1;
            if (rows >= kRowsPerTransaction) {
                TakeExisting(table, run, firsts, take);
                firsts.first = range.first + 1;
                rows = 0;
            }
        }
        if (rows > 0) {
            TakeExisting(table, run, firsts, take);
        }
        after = ranges.back().first;
    }
    return hasAdded;
}

// The rows of the ledger that meet the condition, oldest first.
void TakeFromLedger(const MediaTable& table, const std::string& condition, RunRow::Change change,
                    const TakeRow& take) {
    long after = 0;
    for (;;) {
        const DBResult_tag rows = Execute(
            table.instance,
            "SELECT id, run, row_id, " + std::string(HasCameras(table) ? "camera_id" : "0") +
                " AS camera_id, " + FileColumn(table) + " AS file FROM removed WHERE " + condition +
                Format(" AND id > %ld ORDER BY id LIMIT %d;", after, kRowsPerTransaction),
            {.readOnly = true});
        if (rows.RowCount() == 0) {
            return;
        }
        TakeRows(rows, {.change = change, .kind = table.name}, change == RunRow::Change::Added,
                 take);
        after = rows.Long(rows.RowCount() - 1, "id");
    }
}

// The condition for rows of the ledger that the run added. Ranges don't overlap, so only the last
// one that begins at or before a row's id can have it.
std::string AddedByRunSql(const MediaTable& table, const RunRecord& run) {
    return Format(
        "kind = '%s' AND changed = 0 AND (SELECT last_id FROM added WHERE added.run = %ld AND "
        "added.kind = '%s' AND added.first_id <= removed.row_id "
        "ORDER BY first_id DESC LIMIT 1) >= row_id",
        table.name.c_str(), run.id, table.name.c_str());
}

} // namespace

void ListRowsOfRun(const RunRecord& run, const TakeRow& take) {
    for (const MediaTable& table : MediaTables()) {
        if (TakeAddedThatExist(table, run, take)) {
            TakeFromLedger(table, AddedByRunSql(table, run), RunRow::Change::Added, take);
        }
    }
    for (const MediaTable& table : MediaTables()) {
        const std::string ofRun = OfRunSql(table, run);
        TakeFromLedger(table, ofRun + " AND changed = 0", RunRow::Change::Removed, take);
        TakeFromLedger(table, ofRun + " AND changed = 1", RunRow::Change::Changed, take);
    }
}

void ForgetAddedRows() {
    const DBResult_tag oldest = Execute(
        KRDB::DB_SYSTEM, "SELECT coalesce(min(run), 0) AS run FROM run_part;", {.readOnly = true});
    const std::string expired = Format("run < %ld", oldest.Long(0, "run"));
    for (const KRDB::DB_INSTANCE instance : OpenInstances()) {
        // Reads first, because a deletion waits for other writers even if it deletes nothing.
        const DBResult_tag rows = Execute(
            instance, "SELECT 1 FROM added WHERE " + expired + " LIMIT 1;", {.readOnly = true});
        if (rows.RowCount() > 0) {
            Execute(instance, "DELETE FROM added WHERE " + expired + ";");
        }
    }
}

} // namespace recorder
