#include "recorder/database/databases.h"
#include "recorder/run/live.h"
#include "recorder/settings/settings.h"
#include "tools/common/words.h"
#include "tools/krctl/doctor/checks.h"
#include "tools/krctl/doctor/publication.h"

#include <string>

namespace {

constexpr const char* kSubject = "outbox";

} // namespace

Checks CheckOutbox() {
    const DBResult_tag rows = recorder::Execute(
        KRDB::DB_RECORDING,
        "SELECT count(*) AS due, coalesce(min(created_tm), 0) AS oldest FROM outbox WHERE due = 1;",
        {.readOnly = true});
    const long due = rows.Long(0, "due");
    if (due == 0) {
        return {Ok(kSubject, "no notification waits")};
    }
    const std::string wait = Counted(due, "notification") + (due == 1 ? " waits" : " wait") +
                             ", the oldest since " + TimeText(rows.Long(0, "oldest"));
    if (!recorder::GetSettings().notifications.broker) {
        return {Warning(kSubject, wait + ", and the settings name no broker",
                        std::string("host under [notifications] of ") + recorder::kSettingsFile)};
    }
    if (recorder::FindRunInProgress().answer == recorder::RunInProgress::Answer::Yes) {
        return {Ok(kSubject, wait + "; the run in progress delivers them")};
    }
    if (IsPublishing()) {
        return {Ok(kSubject, wait + "; the last run is publishing them")};
    }
    return {Warning(kSubject, wait, "krctl run delivers them once the broker answers")};
}
