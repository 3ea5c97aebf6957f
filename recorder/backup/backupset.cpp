#include "recorder/backup/backupset.h"

#include "recorder/backup/databasecopy.h"
#include "recorder/backup/setfiles.h"
#include "recorder/backup/stagedset.h"
#include "recorder/database/idmarks.h"
#include "recorder/database/recorderid.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/format.h"
#include "recorder/support/trust.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace recorder {

namespace {

constexpr const char* kSetPrefix = "kestora-";
constexpr long kMaxNumber = 1000000000;

UniqueFd OpenBackupFolder(const std::string& path) {
    RequireTrustedUnlinked(path + "/" + kSetPrefix);
    UniqueFd folder = OpenFolderByPath(path);
    if (!folder.IsOpen()) {
        throw SystemError("open the backup folder " + path);
    }
    return folder;
}

BackupSet ReadSet(const std::string& path) {
    const UniqueFd folder = OpenFolderByPath(path);
    if (!folder.IsOpen()) {
        throw SystemError("open the backup set " + path);
    }
    return ReadDescription(folder, path);
}

// A folder with the name of a set but without a readable description, and another recorder's set,
// are left out, so they are never removed.
std::vector<BackupSet> SetsOf(const std::string& recorder, const std::string& folder) {
    std::vector<BackupSet> sets;
    const FolderListing listing = ListFolder(folder, [&](const FolderEntry& entry) {
        if (entry.isFolder && entry.name.starts_with(kSetPrefix)) {
            try {
                BackupSet set = ReadSet(folder + "/" + entry.name);
                if (set.recorder == recorder) {
                    sets.push_back(std::move(set));
                }
            } catch (const Error&) {
            }
        }
        return true;
    });
    if (listing == FolderListing::Absent) {
        throw Error("the backup folder " + folder + " does not exist");
    }
    std::sort(sets.begin(), sets.end(), [](const BackupSet& one, const BackupSet& other) {
        return one.number > other.number;
    });
    return sets;
}

std::string NameOf(const BackupSet& set) {
    constexpr std::size_t kMaxTime = 32;
    const std::time_t taken = set.takenTm;
    std::tm utc = {};
    std::array<char, kMaxTime> time{};
    (void)std::strftime(time.data(), time.size(), "%Y%m%dT%H%M%SZ", gmtime_r(&taken, &utc));
    return Format("%s%06ld-%s", kSetPrefix, set.number, time.data());
}

// Higher than the number in any name, whether or not it is a set of this recorder.
long NextNumber(const std::string& folder) {
    long highest = 0;
    (void)ListFolder(folder, [&](const FolderEntry& entry) {
        if (entry.name.starts_with(kSetPrefix)) {
            const char* const digits = entry.name.c_str() + std::strlen(kSetPrefix);
            const long number = std::strtol(digits, nullptr, 10);
            highest = number < kMaxNumber ? std::max(highest, number) : highest;
        }
        return true;
    });
    return highest + 1;
}

BackupSet NewSet(SqliteDatabase& system, const std::string& folder) {
    BackupSet set;
    set.recorder = RecorderId(system);
    set.number = NextNumber(folder);
    set.takenTm = std::time(nullptr);
    set.schema =
        system.Execute("PRAGMA user_version", {.transaction = false}).Long(0, "user_version");
    set.run = HighestNotedId(IdKind::Run).value_or(0);
    set.outbox = HighestNotedId(IdKind::Outbox).value_or(0);
    set.folder = folder + "/" + NameOf(set);
    return set;
}

} // namespace

BackupSet TakeBackup(const std::string& folder) {
    const UniqueFd parent = OpenBackupFolder(folder);
    std::vector<SqliteDatabase> databases = OpenAtOneMoment();
    const BackupSet set = NewSet(databases.front(), folder);
    StagedSet staged(parent, folder, set.recorder);
    for (std::size_t i = 0; i < databases.size(); ++i) {
        CopyDatabase(databases[i], staged.Path() + "/" + kCheckedFiles.at(i));
    }
    staged.Describe(set);
    staged.Publish(NameOf(set));
    return CheckedBackupSet(set.folder);
}

BackupSet CheckedBackupSet(const std::string& setFolder) {
    RequireTrustedUnlinked(setFolder + "/" + kDescriptionFile);
    const UniqueFd folder = OpenFolderByPath(setFolder);
    if (!folder.IsOpen()) {
        throw SystemError("open the backup set " + setFolder);
    }
    BackupSet set = ReadDescription(folder, setFolder);
    RequireChecksums(folder, setFolder);
    return set;
}

std::vector<BackupSet> ListBackupSets(const std::string& folder) {
    return SetsOf(RecorderId(), folder);
}

void RemoveOldBackupSets(const std::string& folder, std::size_t keep) {
    const UniqueFd parent = OpenBackupFolder(folder);
    std::vector<BackupSet> sets = ListBackupSets(folder);
    sets.erase(sets.begin(), sets.begin() + static_cast<long>(std::min(keep, sets.size())));
    for (const BackupSet& set : sets) {
        RemoveSet(parent, folder, set);
    }
}

} // namespace recorder
