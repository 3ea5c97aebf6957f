// The outbox, and the broker that its messages are published to.

#include "recorder/database/databases.h"
#include "recorder/notification/broker.h"
#include "recorder/run/live.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/textfile.h"
#include "recorder/support/uninterrupted.h"
#include "tools/common/texts.h"
#include "tools/krctl/doctor/check.h"

#include <cerrno>
#include <optional>
#include <string>
#include <utility>

#include <sys/file.h>

namespace {

using recorder::RunInProgress;

constexpr const char* kOutbox = "outbox";
constexpr const char* kBroker = "broker";

// Returns true if a run is publishing its messages, which it does after its end, while it holds a
// lock. Throws recorder::Error when that could not be determined.
bool IsPublishing() {
    const recorder::UniqueFd file =
        recorder::OpenTextFileIfThere(recorder::kOutboxLockFile, recorder::Links::Refuse);
    if (!file.IsOpen() ||
        recorder::Uninterrupted([&] { return flock(file.Get(), LOCK_SH | LOCK_NB); }) == 0) {
        return false;
    }
    if (errno != EWOULDBLOCK) {
        throw recorder::SystemError(std::string("query the lock of ") + recorder::kOutboxLockFile);
    }
    return true;
}

// Returns a result if a run may be connected to the broker as the same client: the broker would
// close the run's connection when a second one is opened.
std::optional<Check> CheckForOtherConnection(const std::string& broker) {
    const RunInProgress found = recorder::FindRunInProgress();
    if (found.answer == RunInProgress::Answer::Unknown) {
        return Warning(
            kBroker,
            broker + " not checked: a run may be in progress and connected to it: " + found.why,
            "run krctl doctor as root, or as the user of the runs");
    }
    if (found.answer == RunInProgress::Answer::Yes) {
        return Ok(kBroker, broker + " not checked: the run in progress may be connected to it");
    }
    if (IsPublishing()) {
        return Ok(kBroker, broker + " not checked: the last run is still publishing to it");
    }
    return std::nullopt;
}

} // namespace

Checks CheckOutbox() {
    const DBResult_tag rows = recorder::Execute(
        KRDB::DB_RECORDING,
        "SELECT count(*) AS due, coalesce(min(created_tm), 0) AS oldest FROM outbox WHERE due = 1;",
        {.readOnly = true});
    const long due = rows.Long(0, "due");
    if (due == 0) {
        return {Ok(kOutbox, "no messages are queued")};
    }
    const std::string queued = Counted(due, "message") + (due == 1 ? " is" : " are") +
                               " queued, the oldest since " + TimeText(rows.Long(0, "oldest"));
    if (!recorder::GetSettings().notifications.broker) {
        return {
            Warning(kOutbox, queued + ", but the settings name no broker",
                    std::string("set host under [notifications] in ") + recorder::kSettingsFile)};
    }
    if (recorder::FindRunInProgress().answer == RunInProgress::Answer::Yes) {
        return {Ok(kOutbox, queued + "; the run in progress will publish them")};
    }
    if (IsPublishing()) {
        return {Ok(kOutbox, queued + "; the last run is publishing them")};
    }
    return {Warning(kOutbox, queued, "run krctl run, which publishes them if the broker responds")};
}

// Connects and disconnects, which proves that host, certificate and password are right.
Checks CheckBroker() {
    const std::optional<recorder::BrokerSettings>& settings =
        recorder::GetSettings().notifications.broker;
    if (!settings) {
        return {Ok(kBroker, "no broker is configured: messages are kept in the outbox only")};
    }
    const std::string name = settings->host + ":" + std::to_string(settings->port);
    if (settings->clientId) {
        if (std::optional<Check> check = CheckForOtherConnection(name)) {
            return {std::move(*check)};
        }
    }
    try {
        (void)recorder::ConnectBroker(*settings);
        return {Ok(kBroker, name + " accepts connections from this recorder")};
    } catch (const recorder::Error& error) {
        return {Problem(kBroker, error.what(),
                        std::string("start the broker, or correct [notifications] in ") +
                            recorder::kSettingsFile + "; messages stay queued until it responds")};
    }
}
