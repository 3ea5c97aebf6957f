#include "recorder/backup/backupjob.h"
#include "recorder/backup/replaced.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/paths.h"
#include "tools/common/texts.h"
#include "tools/krctl/doctor/check.h"

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace {

constexpr const char* kSubject = "backup";
constexpr const char* kTakeOne = "run krctl backup";
constexpr int64_t kMaxAgeDays = 14;
constexpr int64_t kMaxKeptDays = 30;
constexpr int64_t kSecondsPerDay = 86400;
constexpr double kBytesPerMib = 1024.0 * 1024.0;

bool IsBesideDatabases(const std::string& folder) {
    struct stat64 one = {};
    struct stat64 other = {};
    return stat64(folder.c_str(), &one) == 0 && stat64(recorder::kDatabaseDir, &other) == 0 &&
           one.st_dev == other.st_dev;
}

Check CheckAge(const recorder::BackupSet& newest) {
    const std::string set = "last backup: " + newest.folder + ", " + TimeText(newest.takenTm);
    const int64_t ageS = std::time(nullptr) - newest.takenTm;
    if (ageS < 0) {
        return Warning(kSubject,
                       set + ", in the future by this recorder's clock: its age is unknown",
                       "correct the clock, then run krctl backup");
    }
    if (ageS > kMaxAgeDays * kSecondsPerDay) {
        return Warning(kSubject, set + ", " + Counted(ageS / kSecondsPerDay, "day") + " ago",
                       kTakeOne);
    }
    return Ok(kSubject, set);
}

Checks CheckFolder(const std::string& folder) {
    recorder::BackupSets found;
    try {
        found = recorder::ListBackupSets(folder);
    } catch (const recorder::Error& error) {
        return {Problem(kSubject, error.what(),
                        "mount its disk, or create it for the user that runs krctl")};
    }
    Checks checks{found.sets.empty() ? Warning(kSubject, folder + " holds no backup", kTakeOne)
                                     : CheckAge(found.sets.front())};
    for (const recorder::UnreadableSet& set : found.unreadable) {
        checks.push_back(Warning(kSubject, set.folder + " can't be used: " + set.reason,
                                 "correct the cause, or remove it"));
    }
    if (IsBesideDatabases(folder)) {
        checks.push_back(Warning(kSubject, folder + " is on the same file system as the databases",
                                 "mount its disk, or name a folder on another disk in [backup]"));
    }
    return checks;
}

// Nothing removes what restores keep: only an operator knows when it is no longer needed.
Checks CheckKeptByRestores() {
    const recorder::KeptByRestores kept = recorder::FindKeptByRestores();
    if (kept.folders == 0) {
        return {};
    }
    const std::string message =
        "restores have kept the databases that they replaced: " + Counted(kept.folders, "folder") +
        " in " + recorder::kReplacedDir + ", " +
        recorder::Format("%.1f MiB", static_cast<double>(kept.bytes) / kBytesPerMib) +
        ", the oldest of " + TimeText(kept.oldestTm);
    if (std::time(nullptr) - kept.oldestTm <= kMaxKeptDays * kSecondsPerDay) {
        return {Ok(kSubject, message)};
    }
    return {Warning(kSubject, message,
                    "if the restored databases are in order, remove the old folders there")};
}

} // namespace

Checks CheckBackups() {
    const recorder::Settings& settings = recorder::GetSettings();
    if (settings.database.postgres) {
        return {}; // the server's own tools are used
    }
    const std::string failure = recorder::LastBackupFailure();
    Checks checks;
    if (!failure.empty()) {
        checks.push_back(Problem(kSubject, "the last backup failed: " + failure,
                                 "correct the cause, then run krctl backup"));
    }
    if (settings.backup.folders.empty()) {
        checks.push_back(
            Warning(kSubject, "no folder for backups of the databases is set",
                    std::string("set folder under [backup] in ") + recorder::kSettingsFile));
    }
    for (const std::string& folder : settings.backup.folders) {
        const Checks found = CheckFolder(folder);
        checks.insert(checks.end(), found.begin(), found.end());
    }
    const Checks kept = CheckKeptByRestores();
    checks.insert(checks.end(), kept.begin(), kept.end());
    return checks;
}
