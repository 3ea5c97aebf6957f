#include "recorder/database/recorderid.h"

#include "recorder/database/databases.h"
#include "recorder/support/error.h"
#include "recorder/support/uuid.h"

namespace recorder {

namespace {

constexpr const char* kReadSql = "SELECT uuid FROM recorder;";

std::string IdIn(const DBResult_tag& rows) {
    if (rows.RowCount() != 1) {
        throw Error("the recorder has no identity; run krctl init");
    }
    return rows.Text(0, "uuid");
}

} // namespace

void CreateRecorderId(Database& system) {
    system.Execute("INSERT INTO recorder (id, uuid) VALUES (1, '" + NewUuid() +
                   "') ON CONFLICT (id) DO NOTHING;");
}

std::string RecorderId(Database& system) {
    return IdIn(system.Execute(kReadSql, {.readOnly = true, .transaction = false}));
}

std::string RecorderId() {
    return IdIn(Execute(KRDB::DB_SYSTEM, kReadSql, {.readOnly = true}));
}

} // namespace recorder
