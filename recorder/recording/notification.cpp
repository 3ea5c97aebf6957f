#include "platform/recording.h"
#include "recorder/database/databases.h"
#include "recorder/database/idlist.h"
#include "recorder/database/quote.h"
#include "recorder/support/edge.h"
#include "recorder/utility/format.h"

#include <ctime>
#include <functional>

namespace recorder {

namespace {

constexpr int kJournalEntries = 10000;

// Puts word into the outbox and keeps the newest entries only: there is no receiver to wait for.
void Notify(const std::string& topic, const std::string& payload) {
    Execute(KRDB::DB_RECORDING,
            "INSERT INTO outbox (created_tm, topic, payload) VALUES (" +
                std::to_string(std::time(nullptr)) + ", " + Quote(topic) + ", " + Quote(payload) +
                ");" +
                Format("DELETE FROM outbox WHERE id <= (SELECT max(id) FROM outbox) - %d;",
                       kJournalEntries));
}

const char* NameOf(EVENT_UPDATE_ACTION action) {
    return action == EVENT_UPDATE_ADD ? "add" : "unknown";
}

std::string EventListPayload(const std::list<Event>& events, int camId,
                             EVENT_UPDATE_ACTION action) {
    const unsigned long long stamp = events.empty() ? 0 : events.front().GetRecCntTimestamp();
    return Format(R"({"camera":%d,"action":"%s","stamp":%llu,"ids":[)", camId, NameOf(action),
                  stamp) +
           JoinIds(events, std::mem_fn(&Event::GetId)) + "]}";
}

} // namespace

} // namespace recorder

void NotifyEventListUpdate(std::list<Event>& events, Camera* camera, EVENT_UPDATE_ACTION action,
                           int /*receiver*/, int /*session*/, int /*sequence*/) {
    recorder::AtEdge([&] {
        recorder::Notify("event/list", recorder::EventListPayload(events, camera->GetId(), action));
    });
}

void NotifyAlertEventRefresh(int /*receiver*/, int /*session*/, int /*sequence*/) {
    recorder::AtEdge([] { recorder::Notify("alert_event/refresh", "{}"); });
}
