// The tool's database: what it executes belongs to its run.

#include "platform/database.h"
#include "recorder/database/databases.h"
#include "recorder/database/mediatable.h"
#include "recorder/logging/recorderlog.h"
#include "recorder/run/run.h"

#include <cstdlib>
#include <exception>
#include <string_view>

namespace recorder {

namespace {

// The tool reads a table in whole, or a camera's part of it, when it turns to it, and selects
// nothing else. Empty for any other text, also for one of several statements: what follows the
// SELECT may write.
std::string TableRead(const std::string& sql) {
    if (!sql.starts_with("SELECT ") || sql.find(';') + 1 < sql.size()) {
        return {};
    }
    for (const MediaTable& table : MediaTables()) {
        const std::string from = " FROM " + table.name;
        if (sql.find(from + ' ') != std::string::npos ||
            sql.find(from + ';') != std::string::npos) {
            return table.name;
        }
    }
    return {};
}

int CameraRead(const std::string& sql) {
    constexpr std::string_view kCondition = " WHERE camera_id = ";
    const std::size_t condition = sql.find(kCondition);
    return condition == std::string::npos
               ? 0
               : static_cast<int>(
                     std::strtol(sql.c_str() + condition + kCondition.size(), nullptr, 10));
}

DBResult_tag ExecuteForTool(KRDB::DB_INSTANCE db, const std::string& sql,
                            const ExecuteOptions& options) {
    const std::string table = TableRead(sql);
    if (table.empty()) {
        return ExecuteInRun(db, sql, options);
    }
    BeginPart(table, CameraRead(sql));
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
            *result = new DBResult_tag(std::move(rows)); // KRDBFreeResult is its end
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
