#include "recorder/ledger/rowchanges.h"

#include "recorder/database/age.h"
#include "recorder/database/databases.h"
#include "recorder/database/schema.h"
#include "recorder/run/runnumber.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"

#include <algorithm>
#include <ctime>

namespace recorder {

namespace {

std::string Joined(const ColumnValues& columns, const char* equals, const char* separator) {
    std::string sql;
    for (const auto& [name, value] : columns) {
        sql += (sql.empty() ? "" : separator) + name + equals + value;
    }
    return sql;
}

bool IsUsed(long number) {
    return std::any_of(MediaTables().begin(), MediaTables().end(),
                       [&](const MediaTable& table) { return HoldsRun(table.instance, number); });
}

} // namespace

RowChanges::RowChanges(long startTm)
    : m_lock(RunLock::Take("nothing was changed")), m_startTm(startTm) {}

bool RowChanges::Change(const MediaTable& table, int camId, long id, const ColumnValues& before,
                        const ColumnValues& after) {
    if (m_run.number == 0) {
        Begin();
    }
    const char* const kind = table.name.c_str();
    const std::string columns = ColumnList(table.columns);
    const std::string thisRow = table.name + " WHERE id = " + std::to_string(id) + " AND " +
                                Joined(before, " IS NOT DISTINCT FROM ", " AND ");
    // The first statement locks the row: no other program changes it between the others.
    const DBResult_tag changed = Execute(
        table.instance,
        "UPDATE " + table.name + " SET id = id WHERE id = " + std::to_string(id) + ";" +
            Format("INSERT INTO removed (run, removed_tm, kind, row_id, changed, %s) "
                   "SELECT %ld, %ld, '%s', id, 1, %s FROM %s;",
                   columns.c_str(), m_run.number, std::time(nullptr), kind, columns.c_str(),
                   thisRow.c_str()) +
            Format("INSERT INTO run_count (run, token, kind, camera_id, added, removed, changed) "
                   "SELECT %ld, %ld, '%s', %d, 0, 0, 1 FROM %s ON CONFLICT (run, token, kind, "
                   "camera_id) DO UPDATE SET changed = run_count.changed + 1;",
                   m_run.number, m_run.token, kind, camId, thisRow.c_str()) +
            NoteRemovalAgeSql(m_run.number, ReadMoment()) + "UPDATE " + table.name + " SET " +
            Joined(after, " = ", ", ") + " WHERE id IN (SELECT id FROM " + thisRow +
            ") RETURNING id;",
        {.awaitDisk = false}); // End waits for all
    return changed.RowCount() > 0;
}

// Recorded with the first change: a check that finds nothing to change is no run.
void RowChanges::Begin() {
    m_run = AddRunRecord(RunPurpose::Fix, m_startTm, true);
    // Databases that were restored may hold an older run of this number.
    while (IsUsed(m_run.number)) {
        m_run.number = RenumberRun(m_run.number);
    }
    SecureRunNumber(m_run.number);
}

void RowChanges::End() {
    if (m_run.number != 0) {
        Execute(KRDB::DB_SYSTEM,
                BringAgeUpToDateSql(ReadMoment()) +
                    Format("UPDATE run SET end_tm = %ld, age_s = (SELECT age_s FROM ledger_age) "
                           "WHERE id = %ld;",
                           std::time(nullptr), m_run.number));
    }
    m_lock.Release();
}

} // namespace recorder
