#include "recorder/notification/outbox.h"

#include "recorder/database/databases.h"
#include "recorder/database/idmarks.h"
#include "recorder/database/sqltext.h"
#include "recorder/support/format.h"

#include <ctime>

namespace recorder {

namespace {

constexpr int kJournalEntries = 10000;

} // namespace

void QueueMessage(const std::string& topic, const std::string& body, bool due,
                  const std::string& announced) {
    // No id is used twice, even if the outbox was lost or restored from an older copy.
    std::string sql =
        RaiseIdsSql(KRDB::DB_RECORDING, "outbox", HighestNotedId(IdKind::Outbox).value_or(0)) +
        Format("INSERT INTO outbox (created_tm, topic, payload, due) VALUES (%ld, %s, %s, %d) "
               "RETURNING id;"
               "DELETE FROM outbox WHERE due = 0 AND id <= "
               "(SELECT id FROM outbox ORDER BY id DESC LIMIT 1 OFFSET %d);",
               static_cast<long>(std::time(nullptr)), Quote(topic).c_str(), Quote(body).c_str(),
               due ? 1 : 0, kJournalEntries);
    if (!announced.empty()) {
        sql += "DELETE FROM unannounced WHERE id IN (" + announced + ");";
    }
    const DBResult_tag rows = Execute(KRDB::DB_RECORDING, sql);
    NoteId(IdKind::Outbox, rows.Long(0, "id"));
}

std::vector<UnannouncedRecording> UnannouncedRecordings(int atMost) {
    const std::string select =
        Format("SELECT camera_id, id FROM unannounced ORDER BY camera_id, id LIMIT %d;", atMost);
    if (Execute(KRDB::DB_RECORDING, select, {.readOnly = true}).RowCount() == 0) {
        return {}; // the usual case; a deletion would wait for other writers
    }
    const DBResult_tag rows =
        Execute(KRDB::DB_RECORDING,
                "DELETE FROM unannounced WHERE NOT EXISTS (SELECT 1 FROM event "
                "WHERE event.id = unannounced.id AND event.camera_id = unannounced.camera_id);" +
                    select);
    std::vector<UnannouncedRecording> recordings;
    recordings.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        recordings.push_back({rows.Int(row, "camera_id"), rows.Int(row, "id")});
    }
    return recordings;
}

std::vector<Message> DueMessages(int atMost) {
    const DBResult_tag rows =
        Execute(KRDB::DB_RECORDING,
                Format("SELECT id, created_tm, topic, payload FROM outbox WHERE due = 1 "
                       "ORDER BY id LIMIT %d;",
                       atMost),
                {.readOnly = true});
    std::vector<Message> messages;
    messages.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        messages.push_back({.id = rows.Long(row, "id"),
                            .createdTm = rows.Long(row, "created_tm"),
                            .topic = rows.Text(row, "topic"),
                            .body = rows.Text(row, "payload")});
    }
    return messages;
}

long CountDueMessages() {
    const DBResult_tag rows =
        Execute(KRDB::DB_RECORDING, "SELECT count(*) AS due FROM outbox WHERE due = 1;",
                {.readOnly = true});
    return rows.Long(0, "due");
}

void DeleteMessage(long id) {
    Execute(KRDB::DB_RECORDING, Format("DELETE FROM outbox WHERE id = %ld;", id));
}

std::string TopicOf(const Message& message, const std::string& prefix) {
    return prefix + "/" + message.topic;
}

std::string MessageOf(const Message& message) {
    return R"({"id":)" + std::to_string(message.id) + R"(,"time":)" +
           std::to_string(message.createdTm) + R"(,"body":)" + message.body + "}";
}

} // namespace recorder
