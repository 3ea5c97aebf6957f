#include "platform/recording.h"
#include "recorder/database/idlist.h"
#include "recorder/notification/delivery.h"
#include "recorder/support/edge.h"
#include "recorder/utility/format.h"

#include <functional>

namespace recorder {

namespace {

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
        recorder::Tell("event/list", recorder::EventListPayload(events, camera->GetId(), action));
    });
}

void NotifyAlertEventRefresh(int /*receiver*/, int /*session*/, int /*sequence*/) {
    recorder::AtEdge([] { recorder::Tell("alert_event/refresh", "{}"); });
}
