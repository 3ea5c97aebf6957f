#include "platform/logging.h"
#include "platform/utility.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/presence.h"
#include "recorder/support/trust.h"
#include "tools/krctl/doctor/check.h"

#include <string>

#include <sys/statvfs.h>
#include <unistd.h>

namespace {

constexpr const char* kSubject = "log";

// Returns the log file, or the nearest existing folder above it if it does not exist yet.
std::string ExistingLogPath() {
    std::string path = recorder::kLogFile;
    while (path != "/" && recorder::FilePresence(path) == recorder::Presence::No &&
           recorder::FolderPresence(path) == recorder::Presence::No) {
        path = GetDirPath(path);
    }
    return path;
}

// Returns false also when the space could not be determined: the space check reports that.
bool IsFileSystemFull(const std::string& path) {
    struct statvfs64 st = {};
    return statvfs64(path.c_str(), &st) == 0 && st.f_blocks > 0 && st.f_bavail == 0;
}

Check CheckTrustAndAccess() {
    try {
        recorder::RequireTrustedUnlinked(recorder::kLogFile);
    } catch (const recorder::Error& error) {
        return Problem(kSubject, error.what(), "correct this: no run can start until then");
    }
    const std::string place = ExistingLogPath();
    if (!HasAccess(place, W_OK)) {
        return Problem(kSubject, place + " can't be written by " + UserName(geteuid()),
                       "run as its owner, see \"user\"");
    }
    if (IsFileSystemFull(place)) {
        return Problem(kSubject, "the file system of " + place + " is full",
                       "free some space: until then the messages of runs are not logged");
    }
    return Ok(kSubject, std::string(recorder::kLogFile) + " can be written");
}

bool HidesFailures() {
    const std::optional<DbgLogCfg>& level = recorder::SettingsOrDefaults().debugLog;
    return level && level->categLevel.at(LOG_CATEG_REINDEX) == 0;
}

} // namespace

Checks CheckLog() {
    Checks checks{CheckTrustAndAccess()};
    if (HidesFailures()) {
        checks.push_back(Warning(
            kSubject, "level 0 in [debug_log] hides krindexer's failures from the log",
            std::string("set reindex = 3 under [debug_log] in ") + recorder::kSettingsFile));
    }
    return checks;
}
