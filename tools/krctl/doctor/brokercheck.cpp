#include "recorder/notification/broker.h"
#include "recorder/run/live.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "tools/krctl/doctor/checks.h"
#include "tools/krctl/doctor/publication.h"

#include <optional>
#include <string>
#include <utility>

namespace {

constexpr const char* kSubject = "broker";

// Where a run may be connected to the broker, which ends the older one of two connections of the
// same client.
std::optional<Check> CheckOfRun(const std::string& name) {
    const recorder::RunInProgress found = recorder::FindRunInProgress();
    switch (found.answer) {
    case recorder::RunInProgress::Answer::Yes:
        return Ok(kSubject, name + " was not asked: the run in progress may be connected to it");
    case recorder::RunInProgress::Answer::Unknown:
        return Warning(
            kSubject,
            name + " was not asked: a run may be in progress and connected to it: " + found.why,
            "ask again as root, or as the user of the runs");
    case recorder::RunInProgress::Answer::No:
        break;
    }
    if (IsPublishing()) {
        return Ok(kSubject, name + " was not asked: the last run is still publishing to it");
    }
    return std::nullopt;
}

} // namespace

// Connects and says goodbye: host, certificate and password are right when the broker lets it in.
Checks CheckBroker() {
    const std::optional<recorder::BrokerSettings>& settings =
        recorder::GetSettings().notifications.broker;
    if (!settings) {
        return {Ok(kSubject, "none is named: notifications stay in the journal")};
    }
    const std::string name = settings->host + ":" + std::to_string(settings->port);
    if (settings->clientId) {
        if (std::optional<Check> check = CheckOfRun(name)) {
            return {std::move(*check)};
        }
    }
    try {
        (void)recorder::ConnectBroker(*settings);
        return {Ok(kSubject, name + " lets the recorder in")};
    } catch (const recorder::Error& error) {
        return {Problem(kSubject, error.what(),
                        std::string("see that it runs and [notifications] of ") +
                            recorder::kSettingsFile + " is right; notifications wait meanwhile")};
    }
}
