#include "recorder/recording/notification.h"

#include "platform/recording.h"
#include "recorder/database/databases.h"
#include "recorder/database/sqltext.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/notification/delivery.h"
#include "recorder/notification/outbox.h"
#include "recorder/support/format.h"

#include <algorithm>
#include <functional>

namespace recorder {

namespace {

constexpr int kRecordingsAtOnce = 1000;

const char* NameOf(EVENT_UPDATE_ACTION action) {
    return action == EVENT_UPDATE_ADD ? "add" : "unknown";
}

// `stamp` is that of the recording counts; `ids` are those of the recordings, separated by ",".
void AnnounceEventList(int camId, EVENT_UPDATE_ACTION action, unsigned long long stamp,
                       const std::string& ids) {
    Enqueue("event/list",
            Format(R"({"camera":%d,"action":"%s","stamp":%llu,"ids":[%s]})", camId, NameOf(action),
                   stamp, ids.c_str()),
            ids);
}

unsigned long long NewestCountStamp(int camId) {
    const DBResult_tag rows = Execute(
        KRDB::DB_RECORDING,
        Format("SELECT max(stamp) AS stamp FROM recording_count WHERE camera_id = %d;", camId),
        {.readOnly = true});
    return static_cast<unsigned long long>(rows.Long(0, "stamp"));
}

} // namespace

void AnnounceRecordings() {
    for (std::vector<UnannouncedRecording> unannounced = UnannouncedRecordings(kRecordingsAtOnce);
         !unannounced.empty(); unannounced = UnannouncedRecordings(kRecordingsAtOnce)) {
        const int camId = unannounced.front().camId;
        const auto others = std::find_if(
            unannounced.begin(), unannounced.end(),
            [camId](const UnannouncedRecording& recording) { return recording.camId != camId; });
        unannounced.erase(others, unannounced.end());
        AnnounceEventList(camId, EVENT_UPDATE_ADD, NewestCountStamp(camId),
                          JoinIds(unannounced, std::mem_fn(&UnannouncedRecording::id)));
    }
}

} // namespace recorder

void NotifyEventListUpdate(std::list<Event>& events, Camera* camera, EVENT_UPDATE_ACTION action,
                           int /*receiver*/, int /*session*/, int /*sequence*/) {
    recorder::LogExceptions([&] {
        recorder::AnnounceEventList(camera->GetId(), action,
                                    events.empty() ? 0 : events.front().GetRecCntTimestamp(),
                                    recorder::JoinIds(events, std::mem_fn(&Event::GetId)));
    });
}

void NotifyAlertEventRefresh(int /*receiver*/, int /*session*/, int /*sequence*/) {
    recorder::LogExceptions([] { recorder::Enqueue("alert_event/refresh", "{}"); });
}
