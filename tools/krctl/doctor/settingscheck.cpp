#include "recorder/settings/settings.h"
#include "recorder/support/presence.h"
#include "recorder/support/textfile.h"
#include "tools/krctl/doctor/check.h"

#include <optional>

#include <unistd.h>

namespace {

constexpr const char* kSubject = "settings";

void AddSecretCheck(Checks& checks, const std::optional<std::string>& file) {
    if (!file) {
        return;
    }
    try {
        (void)recorder::ReadSecretFile(*file);
    } catch (const recorder::Error& error) {
        checks.push_back(Warning(kSubject, error.what(), "correct the file, or the setting"));
    }
}

void AddReadableCheck(Checks& checks, const std::optional<std::string>& file) {
    if (file && !HasAccess(*file, R_OK)) {
        checks.push_back(Warning(kSubject, *file + " can't be read by " + UserName(geteuid()),
                                 "correct the file, or the setting ca_file"));
    }
}

} // namespace

// Settings that another user could have written are invalid, too.
Checks CheckSettings() {
    Checks checks;
    for (const std::string& problem : recorder::ProblemsInSettingsFile()) {
        checks.push_back(Problem(kSubject, problem, "correct this: no run can start until then"));
    }
    if (checks.empty()) {
        const std::string file = recorder::kSettingsFile;
        checks.push_back(
            recorder::FilePresence(file) == recorder::Presence::No
                ? Ok(kSubject, file + " does not exist: all settings have their defaults")
                : Ok(kSubject, file + " is valid"));
    }
    return checks;
}

Checks CheckSettingsUse() {
    const recorder::Settings& settings = recorder::SettingsOrDefaults();
    Checks checks;
    if (settings.database.postgres) {
        AddSecretCheck(checks, settings.database.postgres->passwordFile);
    }
    if (settings.notifications.broker) {
        AddSecretCheck(checks, settings.notifications.broker->passwordFile);
        AddReadableCheck(checks, settings.notifications.broker->caFile);
    }
    const std::string& snapshots = settings.snapshot.folder;
    if (recorder::FolderPresence(snapshots) != recorder::Presence::Yes) {
        checks.push_back(Warning(
            kSubject, "snapshot.folder: " + snapshots + " does not exist, or can't be examined",
            "mount its disk, or run krctl init"));
    }
    return checks;
}
