#include "platform/database.h"

#include "tests/fakes/call.h"

#include <algorithm>
#include <cstdint>
#include <limits>

const char* const gszTableEmap = "emap";
const char* const gszTableSnapshot = "snapshot";
const char* const gszTableEvent = "event";
const char* const gszTableAlertEvent = "alert_event";

namespace {

const char* SymbolOf(DBResult_tag* const* result) {
    if (result == nullptr) {
        return "null";
    }
    return *result == nullptr ? "result" : "result that is no null pointer";
}

bool IsRowId(const std::string& text) {
    int32_t id = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    return error == std::errc() && end == text.data() + text.size() && id >= 1;
}

} // namespace

int KRDB::Execute(DB_INSTANCE db, std::string sql, DBResult_tag** result, bool readOnly,
                  bool transaction, bool waitForLock, bool logError) {
    fakes::ScriptedPlatform& platform = fakes::Platform();
    int failed = fakes::RecordCall("Execute", static_cast<int>(db), sql, SymbolOf(result), readOnly,
                                   transaction, waitForLock, logError);
    if (failed == 0 && db == DB_NONE) {
        failed = -1;
    }
    const bool handsOut = failed == 0 ? !platform.noResult : platform.resultDespiteFailure;
    if (result != nullptr && handsOut) {
        *result = platform.NewResult(sql);
    }
    const std::size_t count = fakes::StatementCnt(sql);
    platform.statements.push_back({static_cast<int>(db), std::move(sql), count});
    return failed;
}

int KRDBFetchRow(DBResult_tag* result, int* row) {
    fakes::RecordDetail("KRDBFetchRow", result == nullptr ? "null" : "result");
    if (result == nullptr || result->next >= static_cast<int>(result->rows.fields.size())) {
        *row = -1;
        return 1;
    }
    if (result->next > 0) { // the fields of the previous row become invalid
        result->rows.fields[static_cast<std::size_t>(result->next - 1)].clear();
    }
    *row = result->next++;
    return 0;
}

const char* KRDBFetchField(const DBResult_tag* result, int row, const char* column) {
    fakes::RecordDetail("KRDBFetchField", result == nullptr ? "null" : "result", row,
                        std::string(column));
    if (result == nullptr || row < 0 || row >= static_cast<int>(result->rows.fields.size())) {
        return nullptr;
    }
    const auto& columns = result->rows.columns;
    const auto found = std::find(columns.begin(), columns.end(), column);
    if (found == columns.end()) {
        return nullptr;
    }
    const auto& fields = result->rows.fields[static_cast<std::size_t>(row)];
    if (fields.empty()) {
        return nullptr;
    }
    const fakes::Field& field = fields[static_cast<std::size_t>(found - columns.begin())];
    if (!field) {
        return nullptr;
    }
    if (*found == "id" && !IsRowId(*field) && !fakes::Platform().rawRowIds) {
        return nullptr;
    }
    return field->c_str();
}

void KRDBFreeResult(DBResult_tag* result) {
    if (result == nullptr) {
        fakes::RecordCall("KRDBFreeResult", "null");
        return;
    }
    const bool held = fakes::Platform().Free(result);
    fakes::RecordCall("KRDBFreeResult", held ? "result" : "result that nobody holds");
}
