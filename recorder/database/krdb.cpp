#include "platform/database.h"

#include "recorder/ledger/run.h"
#include "recorder/logging/recorderlog.h"

#include <exception>

// NOLINTNEXTLINE(performance-unnecessary-value-param): the contract passes it by value
int KRDB::Execute(DB_INSTANCE db, std::string sql, DBResult_tag** result, bool readOnly,
                  bool transaction, bool waitForLock, bool logError) {
    try {
        DBResult_tag rows = recorder::ExecuteInRun(db, sql, {readOnly, transaction, waitForLock});
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
