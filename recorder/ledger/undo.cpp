#include "recorder/ledger/undo.h"

#include "platform/recording.h"
#include "recorder/database/databases.h"
#include "recorder/database/mediatable.h"
#include "recorder/database/sqltext.h"
#include "recorder/logging/logfile.h"
#include "recorder/run/runlock.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/paths.h"

#include <algorithm>
#include <functional>
#include <set>
#include <string_view>
#include <unordered_set>

namespace recorder {

namespace {

bool HasColumn(const MediaTable& table, const std::string& column) {
    return std::find(table.columns.begin(), table.columns.end(), column) != table.columns.end();
}

std::string ChosenSql(const MediaTable& table, const UndoSelection& selection,
                      const RunRecord& run) {
    return Format("run = %ld AND kind = '%s' AND EXISTS (SELECT 1 FROM run_count WHERE "
                  "run_count.run = %ld AND token = %ld AND run_count.kind = '%s')",
                  run.id, table.name.c_str(), run.id, run.token, table.name.c_str()) +
           " AND " + selection.media.RowsSql(table);
}

bool HoldsRowsOf(const UndoSelection& selection, const RunRecord& run) {
    return std::any_of(MediaTables().begin(), MediaTables().end(), [&](const MediaTable& table) {
        return selection.media.IncludesKind(table) &&
               std::any_of(run.changes.begin(), run.changes.end(), [&](const RunChange& change) {
                   return change.undoable > 0 && change.kind == table.name;
               });
    });
}

// Selects the table's rows that have the same values in these columns as a row of the ledger.
std::string RowsAlikeSql(const MediaTable& table, const std::vector<std::string>& columns,
                         const char* equals) {
    std::string sql = "SELECT 1 FROM " + table.name + " AS there WHERE ";
    for (const std::string& column : columns) {
        sql += (column == columns.front() ? "" : " AND ") + ("there." + column) + equals +
               "removed." + column;
    }
    return sql;
}

// Why a row of the ledger can't be restored.
enum class Taken {
    Nothing, // it can be
    Id,
    File,
    Gone,         // the changed row does not exist any more
    ChangedSince, // the changed row was changed again
};

// The value of Taken for a row of the ledger.
std::string TakenSql(const MediaTable& table) {
    const std::string idTaken =
        "EXISTS (SELECT 1 FROM " + table.name + " AS there WHERE there.id = removed.row_id)";
    const std::string fileTaken = table.key.empty()
                                      ? "1 = 0"
                                      : "EXISTS (" + RowsAlikeSql(table, table.key, " = ") +
                                            " AND (changed = 0 OR there.id <> removed.row_id))";
    const std::string changedSince =
        "EXISTS (SELECT 1 FROM removed AS later WHERE later.kind = removed.kind "
        "AND later.row_id = removed.row_id AND later.changed = 1 AND later.id > removed.id)";
    return "CASE WHEN " + fileTaken + " THEN 2 WHEN changed = 0 THEN CASE WHEN " + idTaken +
           " THEN 1 ELSE 0 END WHEN NOT " + idTaken + " THEN 3 WHEN " + changedSince +
           " THEN 4 ELSE 0 END";
}

struct LedgerRow {
    long id = 0; // in the ledger
    RowNotRestored row;
    Taken taken = Taken::Nothing;
    bool identifiesFile = false; // no other row may have its file
};

std::vector<LedgerRow> RowsAfter(const MediaTable& table, const std::string& chosen, long after) {
    const DBResult_tag rows = Execute(
        table.instance,
        Format("SELECT id, row_id, camera_id, %s AS file, %s AS taken FROM removed WHERE %s "
               "AND id > %ld ORDER BY id LIMIT %d;",
               HasColumn(table, "path") ? "path" : "filename", TakenSql(table).c_str(),
               chosen.c_str(), after, kRowsPerTransaction),
        {.readOnly = true});
    std::vector<LedgerRow> next;
    for (int i = 0; i < rows.RowCount(); ++i) {
        LedgerRow row;
        row.id = rows.Long(i, "id");
        row.row.id = rows.Long(i, "row_id");
        row.row.camId = rows.Int(i, "camera_id");
        row.row.file = rows.Text(i, "file");
        row.taken = static_cast<Taken>(rows.Int(i, "taken"));
        row.identifiesFile = rows.TextIfAny(i, "file") && !table.key.empty();
        next.push_back(std::move(row));
    }
    return next;
}

// The rows that were restored before in the same undo.
class RestoredBefore {
public:
    // What the row would find taken by them.
    [[nodiscard]] Taken TakenFrom(const LedgerRow& row) const {
        if (row.identifiesFile && m_files.contains(KeyOf(row))) {
            return Taken::File;
        }
        return m_ids.contains(row.row.id) ? Taken::Id : Taken::Nothing;
    }

    void Add(const LedgerRow& row) {
        m_ids.insert(row.row.id);
        if (row.identifiesFile) {
            m_files.insert(KeyOf(row));
        }
    }

private:
    static std::string KeyOf(const LedgerRow& row) {
        return std::to_string(row.row.camId) + "/" + row.row.file;
    }

    std::unordered_set<long> m_ids;
    std::unordered_set<std::string> m_files;
};

// The next rows of the selection, up to a row with the id or the file of one before it: the next
// call then finds the restored row.
std::vector<LedgerRow> NextRows(const MediaTable& table, const std::string& chosen, long after) {
    std::vector<LedgerRow> rows = RowsAfter(table, chosen, after);
    RestoredBefore before;
    for (auto row = rows.begin(); row != rows.end(); ++row) {
        if (before.TakenFrom(*row) != Taken::Nothing) {
            rows.erase(row, rows.end());
            break;
        }
        before.Add(*row);
    }
    return rows;
}

std::vector<long> FreeRows(const std::vector<LedgerRow>& rows) {
    std::vector<long> free;
    for (const LedgerRow& row : rows) {
        if (row.taken == Taken::Nothing) {
            free.push_back(row.id);
        }
    }
    return free;
}

// Restores all of these rows, or none and throws Error. Deletes from the ledger the rows that the
// table now has with equal values in every column, and returns their ids in the ledger.
std::set<long> Restore(const MediaTable& table, const std::vector<long>& rows) {
    const std::string these = HasIdOf(table.instance, JoinIds(rows, std::identity()));
    const std::string columns = ColumnList(table.columns);
    const std::string changed = " FROM removed WHERE changed = 1 AND " + these;
    const DBResult_tag gone = Execute(
        table.instance, "INSERT INTO " + table.name + " (id, " + columns + ") SELECT row_id, " +
                            columns + " FROM removed WHERE changed = 0 AND " + these +
                            " ORDER BY id;UPDATE " + table.name + " SET (" + columns +
                            ") = (SELECT " + ColumnList(table.columns, "removed.") + changed +
                            " AND row_id = " + table.name + ".id) WHERE id IN (SELECT row_id" +
                            changed + ");DELETE FROM removed WHERE " + these + " AND EXISTS (" +
                            RowsAlikeSql(table, table.columns, " IS NOT DISTINCT FROM ") +
                            " AND there.id = removed.row_id) RETURNING id;");
    std::set<long> restored;
    for (int i = 0; i < gone.RowCount(); ++i) {
        restored.insert(gone.Long(i, "id"));
    }
    return restored;
}

// It is unknown whether the last batch was restored: its transaction may have been committed before
// the connection was lost.
class OutcomeUnknown : public Error {
public:
    using Error::Error;
};

bool HasAll(const std::vector<LedgerRow>& rows, const std::vector<long>& ids) {
    return std::all_of(ids.begin(), ids.end(), [&](long id) {
        return std::any_of(rows.begin(), rows.end(),
                           [&](const LedgerRow& row) { return row.id == id; });
    });
}

// Reads the next rows again after the rows of `free` could not be restored. Throws OutcomeUnknown,
// with the text of `failure`, unless all of those rows are still in the ledger.
std::vector<LedgerRow> ReadAgain(const MediaTable& table, const std::string& chosen, long after,
                                 const std::vector<long>& free, const Error& failure) {
    std::vector<LedgerRow> rows;
    try {
        rows = NextRows(table, chosen, after);
    } catch (const Error&) {
        throw OutcomeUnknown(failure.what());
    }
    if (!HasAll(rows, free)) {
        throw OutcomeUnknown(failure.what());
    }
    return rows;
}

// Reads the rows again and retries if another writer has taken one of the ids or files in the
// meantime.
std::set<long> RestoreNext(const MediaTable& table, const std::string& chosen, long after,
                           std::vector<LedgerRow>& rows) {
    for (;;) {
        const std::vector<long> free = FreeRows(rows);
        if (free.empty()) {
            return {};
        }
        try {
            return Restore(table, free);
        } catch (const Error& failure) {
            rows = ReadAgain(table, chosen, after, free, failure);
            if (FreeRows(rows) == free) {
                throw;
            }
        }
    }
}

const char* Why(Taken taken) {
    switch (taken) {
    case Taken::File:
        return "a newer row exists for its file";
    case Taken::Id:
        return "another row has its id";
    case Taken::Gone:
        return "the row was removed after it was changed";
    case Taken::ChangedSince:
        return "the row was changed again";
    case Taken::Nothing:
        break;
    }
    return "the database did not store it unchanged";
}

// The age is not needed after the run's last row has left the ledger.
void ForgetAge(const MediaTable& table, long run) {
    Execute(table.instance, Format("DELETE FROM removal_age WHERE run = %ld AND NOT EXISTS "
                                   "(SELECT 1 FROM removed WHERE removed.run = %ld);",
                                   run, run));
}

void UndoTable(const MediaTable& table, const std::string& chosen, UndoneKind& undone) {
    long after = 0;
    for (std::vector<LedgerRow> rows = NextRows(table, chosen, after); !rows.empty();
         rows = NextRows(table, chosen, after)) {
        const std::set<long> restored = RestoreNext(table, chosen, after, rows);
        undone.restored += static_cast<long>(restored.size());
        for (LedgerRow& row : rows) {
            if (!restored.contains(row.id)) {
                row.row.why = Why(row.taken);
                undone.notRestored.push_back(std::move(row.row));
            }
        }
        after = rows.back().id;
        if (rows.size() == kRowsPerTransaction) {
            LetOthersWrite(table.instance);
        }
    }
}

long RowsRestored(const std::vector<UndoneKind>& kinds) {
    long restored = 0;
    for (const UndoneKind& kind : kinds) {
        restored += kind.restored;
    }
    return restored;
}

bool HasRestored(const Undone& undone, std::string_view kind) {
    return std::any_of(undone.kinds.begin(), undone.kinds.end(), [&](const UndoneKind& other) {
        return other.kind == kind && other.restored > 0;
    });
}

void PlanUndoOf(const MediaTable& table, const std::string& chosen, UndoneKind& undone) {
    RestoredBefore before;
    long after = 0;
    for (std::vector<LedgerRow> rows = RowsAfter(table, chosen, after); !rows.empty();
         rows = RowsAfter(table, chosen, after)) {
        for (LedgerRow& row : rows) {
            const Taken taken = row.taken == Taken::Nothing ? before.TakenFrom(row) : row.taken;
            if (taken == Taken::Nothing) {
                before.Add(row);
                ++undone.restored;
            } else {
                row.row.why = Why(taken);
                undone.notRestored.push_back(std::move(row.row));
            }
        }
        after = rows.back().id;
    }
}

void UndoTables(const UndoSelection& selection, const RunRecord& run, Undone& undone) {
    for (const MediaTable& table : MediaTables()) {
        if (selection.media.IncludesKind(table)) {
            UndoneKind& kind = undone.kinds.emplace_back(UndoneKind{.kind = table.name});
            UndoTable(table, ChosenSql(table, selection, run), kind);
            if (kind.restored > 0) {
                ForgetAge(table, run.id);
            }
        }
    }
}

// Returns true if recordings may have been restored that `undone` does not count.
bool UndoAsFarAsPossible(const UndoSelection& selection, const RunRecord& run, Undone& undone) {
    const char* const rest = "; the same command continues with the others";
    try {
        UndoTables(selection, run, undone);
    } catch (const OutcomeUnknown& error) {
        undone.failures.push_back(
            std::string(error.what()) + "; at least " + std::to_string(RowsRestored(undone.kinds)) +
            " rows were restored; the outcome of the last batch is unknown" + rest);
        return undone.kinds.back().kind == gszTableEvent;
    } catch (const Error& error) {
        undone.failures.push_back(std::string(error.what()) + "; " +
                                  std::to_string(RowsRestored(undone.kinds)) +
                                  " rows were restored before" + rest);
    }
    return false;
}

// The rows of the selection that the run removed or changed, restored or not.
long RowsRemoved(const UndoSelection& selection, const RunRecord& run) {
    long removed = 0;
    for (const MediaTable& table : MediaTables()) {
        if (selection.media.IncludesKind(table)) {
            removed +=
                Execute(
                    table.instance,
                    Format("SELECT coalesce(sum(removed + changed), 0) AS removed FROM run_count "
                           "WHERE run = %ld AND token = %ld AND kind = '%s' AND ",
                           run.id, run.token, table.name.c_str()) +
                        selection.media.RowsSql(table) + ";",
                    {.readOnly = true})
                    .Long(0, "removed");
        }
    }
    return removed;
}

void ForgetKindsWithoutRows(Undone& undone) {
    std::erase_if(undone.kinds, [](const UndoneKind& kind) {
        return kind.restored == 0 && kind.notRestored.empty();
    });
}

} // namespace

Undone Undo(const UndoSelection& selection) {
    RequireLog();
    const RunLock lock = RunLock::Take("nothing is restored before it has ended");
    const RunRecord run = RequireRun(selection.run, selection.identity);
    Undone undone;
    undone.removed = RowsRemoved(selection, run);
    const bool mayHaveRestored = UndoAsFarAsPossible(selection, run, undone);
    const bool areCountsOutdated = mayHaveRestored || HasRestored(undone, gszTableEvent);
    if (areCountsOutdated && RecordingCount::Recount() != 0) {
        undone.failures.emplace_back(std::string("the recording counts could not be corrected; the "
                                                 "next run of recordings corrects them; the log "
                                                 "has the reason: ") +
                                     kLogFile);
    }
    ForgetKindsWithoutRows(undone);
    return undone;
}

Undone PlanUndo(const UndoSelection& selection) {
    const RunRecord run = RequireRun(selection.run, selection.identity);
    Undone undone;
    undone.removed = RowsRemoved(selection, run);
    for (const MediaTable& table : MediaTables()) {
        if (selection.media.IncludesKind(table)) {
            UndoneKind& kind = undone.kinds.emplace_back(UndoneKind{.kind = table.name});
            PlanUndoOf(table, ChosenSql(table, selection, run), kind);
        }
    }
    ForgetKindsWithoutRows(undone);
    return undone;
}

std::vector<RunRecord> OtherRuns(const UndoSelection& selection) {
    if (selection.identity) {
        return {};
    }
    std::vector<RunRecord> others = RunsOfNumber(selection.run);
    if (others.empty() || !others.front().isOnRecord) {
        return {};
    }
    std::erase_if(others, [&](const RunRecord& run) {
        return run.isOnRecord || !HoldsRowsOf(selection, run);
    });
    return others;
}

} // namespace recorder
