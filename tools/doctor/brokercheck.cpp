#include "recorder/notification/broker.h"
#include "recorder/run/live.h"
#include "recorder/settings/settings.h"
#include "tools/doctor/checks.h"

#include <optional>
#include <string>

namespace {

constexpr const char* kSubject = "broker";

} // namespace

// Connects and says goodbye: host, certificate and password are right when the broker lets it in.
Checks CheckBroker() {
    const std::optional<recorder::BrokerSettings>& settings =
        recorder::GetSettings().notifications.broker;
    if (!settings) {
        return {Ok(kSubject, "none is named: notifications stay in the journal")};
    }
    const std::string name = settings->host + ":" + std::to_string(settings->port);
    if (settings->clientId && recorder::RegisteredRun()) {
        // A broker ends the older one of two connections of the same client.
        return {Ok(kSubject, name + " was not asked: the run that goes on may be connected to it")};
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
