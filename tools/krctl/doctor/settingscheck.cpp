#include "recorder/settings/settings.h"
#include "recorder/support/presence.h"
#include "tools/krctl/doctor/check.h"

namespace {

constexpr const char* kSubject = "settings";

} // namespace

// Settings that another user could have written are invalid, too.
Checks CheckSettings() {
    const std::string file = recorder::kSettingsFile;
    try {
        (void)recorder::GetSettings();
    } catch (const recorder::SettingsError& error) {
        return {Problem(kSubject, error.what(), "correct this: no run can start until then")};
    }
    return {recorder::FilePresence(file) == recorder::Presence::No
                ? Ok(kSubject, file + " does not exist: all settings have their defaults")
                : Ok(kSubject, file + " is valid")};
}
