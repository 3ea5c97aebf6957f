#include "platform/logging.h"
#include "platform/utility.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/presence.h"
#include "recorder/support/trust.h"
#include "tools/krctl/doctor/checks.h"

#include <string>

#include <sys/statvfs.h>
#include <unistd.h>

namespace {

constexpr const char* kSubject = "log";

// Where the log isn't there yet, the nearest folder above that is.
std::string WhereItIsWritten() {
    std::string path = recorder::kLogFile;
    while (path != "/" && recorder::FilePresence(path) == recorder::Presence::No &&
           recorder::FolderPresence(path) == recorder::Presence::No) {
        path = GetDirPath(path);
    }
    return path;
}

// False also where that can't be told: the check of the space says so.
bool IsFileSystemFull(const std::string& path) {
    struct statvfs64 st = {};
    return statvfs64(path.c_str(), &st) == 0 && st.f_blocks > 0 && st.f_bavail == 0;
}

Check CheckTrustAndAccess() {
    try {
        recorder::RequireTrustedUnlinked(recorder::kLogFile);
    } catch (const recorder::Error& error) {
        return Problem(kSubject, error.what(), "correct it: no run starts before");
    }
    const std::string place = WhereItIsWritten();
    if (!MayUse(place, W_OK)) {
        return Problem(kSubject, place + " may not be written by " + UserName(geteuid()),
                       "run as the user that it belongs to, see \"user\"");
    }
    if (IsFileSystemFull(place)) {
        return Problem(kSubject, "the file system of " + place + " is full",
                       "make room: a run's messages are lost until then");
    }
    return Ok(kSubject, std::string(recorder::kLogFile) + " can be written");
}

bool SilencesFailures() {
    const std::optional<DbgLogCfg>& level = recorder::SettingsOrDefaults().debugLog;
    return level && level->categLevel.at(LOG_CATEG_REINDEX) == 0;
}

} // namespace

Checks CheckLog() {
    Checks checks{CheckTrustAndAccess()};
    if (SilencesFailures()) {
        checks.push_back(
            Warning(kSubject, "level 0 of [debug_log] closes the tool's failures out of the log",
                    std::string("reindex = 3 under [debug_log] of ") + recorder::kSettingsFile));
    }
    return checks;
}
