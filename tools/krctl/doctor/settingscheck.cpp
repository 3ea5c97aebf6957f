#include "recorder/settings/settings.h"
#include "recorder/support/presence.h"
#include "tools/krctl/doctor/checks.h"

namespace {

constexpr const char* kSubject = "settings";

} // namespace

// Valid means trusted as well: what others could have written is refused.
Checks CheckSettings() {
    const std::string file = recorder::kSettingsFile;
    try {
        (void)recorder::GetSettings();
    } catch (const recorder::SettingsError& error) {
        return {Problem(kSubject, error.what(), "correct it: no run starts before")};
    }
    return {recorder::FilePresence(file) == recorder::Presence::No
                ? Ok(kSubject, file + " is not there: every setting has its default")
                : Ok(kSubject, file + " is valid")};
}
