// The tool's access to the databases, whose statements are recorded as part of the tool's run.

#include "platform/database.h"
#include "recorder/database/databases.h"
#include "recorder/logging/recorderlog.h"
#include "recorder/run/brake.h"
#include "recorder/run/taps.h"
#include "recorder/run/toolsql.h"

#include <exception>
#include <optional>

namespace recorder {

namespace {

void BrakeRemoval(KRDB::DB_INSTANCE db, const std::string& sql) {
    if (!HasRemovalLimit()) {
        return;
    }
    if (const std::optional<Deletion> deletion = DeletionIn(sql)) {
        RequireWithinLimit(db, deletion->table,
                           CountRows(db, deletion->table, deletion->condition));
    }
}

DBResult_tag ExecuteForTool(KRDB::DB_INSTANCE db, const std::string& sql,
                            const ExecuteOptions& options) {
    const std::optional<TableRead> read = ReadOfMediaTable(sql);
    if (!read) {
        BrakeRemoval(db, sql);
        return ExecuteInRun(db, sql, options);
    }
    BeginPart(read->table, read->camId);
    DBResult_tag rows = Execute(db, sql, {true, options.transaction, options.waitForLock});
    NoteKnownRows(rows.RowCount());
    return rows;
}

} // namespace

} // namespace recorder

// NOLINTNEXTLINE(performance-unnecessary-value-param): the contract passes it by value
int KRDB::Execute(DB_INSTANCE db, std::string sql, DBResult_tag** result, bool readOnly,
                  bool transaction, bool waitForLock, bool logError) {
    try {
        DBResult_tag rows = recorder::ExecuteForTool(db, sql, {readOnly, transaction, waitForLock});
        if (result != nullptr) {
            *result = new DBResult_tag(std::move(rows)); // freed by KRDBFreeResult
        }
        return 0;
    } catch (const std::exception& error) {
        if (logError) {
            recorder::LogError(error.what());
        }
        return -1;
    }
}

const char* const gszTableEmap = "emap";
const char* const gszTableSnapshot = "snapshot";
const char* const gszTableEvent = "event";
const char* const gszTableAlertEvent = "alert_event";
