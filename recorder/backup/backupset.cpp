#include "recorder/backup/backupset.h"

#include "recorder/backup/databasecopy.h"
#include "recorder/backup/setcontent.h"
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
#include <optional>
#include <tuple>

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

constexpr const char* kSetPrefix = "kestora-";
// Somebody may give a folder such a name, after which no numbers would be left.
constexpr long kMaxNumberInName = 1000000000;

UniqueFd OpenBackupFolder(const std::string& path) {
    RequireTrustedFolder(path);
    UniqueFd folder = OpenFolderByPath(path);
    if (!folder.IsOpen()) {
        throw SystemError("open the backup folder " + path);
    }
    return folder;
}

// Nothing if the folder holds no description. Throws Error if the description can't be read.
std::optional<BackupSet> ReadSetIfThere(const std::string& path) {
    const UniqueFd folder = OpenFolderByPath(path);
    if (!folder.IsOpen()) {
        throw SystemError("open the backup set " + path);
    }
    struct stat64 st = {};
    if (fstatat64(folder.Get(), kDescriptionFile, &st, AT_SYMLINK_NOFOLLOW) != 0 &&
        errno == ENOENT) {
        return std::nullopt;
    }
    return ReadDescription(folder, path);
}

bool MayBeSet(const FolderEntry& entry) {
    return entry.isFolder && entry.name.starts_with(kSetPrefix) &&
           !entry.name.starts_with(kLeftPrefix);
}

// Returns the sets of all recorders.
BackupSets SetsIn(const std::string& folder) {
    BackupSets found;
    const FolderListing listing = ListFolder(folder, [&](const FolderEntry& entry) {
        const std::string path = folder + "/" + entry.name;
        if (MayBeSet(entry)) {
            try {
                if (std::optional<BackupSet> set = ReadSetIfThere(path)) {
                    found.sets.push_back(std::move(*set));
                }
            } catch (const Error& error) {
                found.unreadable.push_back({path, error.what()});
            }
        }
        return true;
    });
    if (listing == FolderListing::Absent) {
        throw Error("the backup folder " + folder + " does not exist");
    }
    return found;
}

std::string NameOf(const BackupSet& set) {
    constexpr std::size_t kMaxTime = 32;
    const std::time_t taken = set.takenTm;
    std::tm utc = {};
    std::array<char, kMaxTime> time{};
    (void)std::strftime(time.data(), time.size(), "%Y%m%dT%H%M%SZ", gmtime_r(&taken, &utc));
    return Format("%s%06ld-%s", kSetPrefix, set.number, time.data());
}

// Higher than the number of any set, and than the number in any name: an unreadable set may be this
// recorder's.
long NextNumber(const std::string& folder) {
    long highest = 0;
    for (const BackupSet& set : SetsIn(folder).sets) {
        highest = std::max(highest, set.number);
    }
    (void)ListFolder(folder, [&](const FolderEntry& entry) {
        if (entry.name.starts_with(kSetPrefix)) {
            const char* const digits = entry.name.c_str() + std::strlen(kSetPrefix);
            const long number = std::strtol(digits, nullptr, 10);
            highest = number < kMaxNumberInName ? std::max(highest, number) : highest;
        }
        return true;
    });
    if (highest >= kMaxSetNumber) {
        throw Error("a set in " + folder + " has the highest possible number, " +
                    std::to_string(highest) + ": remove it from the folder");
    }
    return highest + 1;
}

BackupSet NewSet(std::vector<SqliteDatabase>& databases, const std::string& folder) {
    BackupSet set;
    set.recorder = RecorderId(databases.front());
    set.number = NextNumber(folder);
    set.takenTm = std::time(nullptr);
    set.schema = SchemaVersionIn(databases.front());
    const GivenNumbers given = GivenNumbersIn(databases);
    set.run = std::max(given.run, HighestNotedId(IdKind::Run).value_or(0));
    set.outbox = std::max(given.outbox, HighestNotedId(IdKind::Outbox).value_or(0));
    set.folder = folder + "/" + NameOf(set);
    return set;
}

void Build(StagedSet& staged, std::vector<SqliteDatabase>& databases, const BackupSet& set) {
    for (std::size_t i = 0; i < databases.size(); ++i) {
        CopyDatabase(databases[i], staged.Path() + "/" + kCheckedFiles.at(i));
    }
    staged.Describe(set);
    staged.Publish(NameOf(set));
}

} // namespace

TakenBackup TakeBackup(const std::string& folder) {
    const UniqueFd parent = OpenBackupFolder(folder);
    std::vector<SqliteDatabase> databases = OpenAtOneMoment();
    const BackupSet set = NewSet(databases, folder);
    StagedSet staged(parent, folder, set.recorder);
    try {
        Build(staged, databases, set);
    } catch (const Error& error) {
        const std::string left = staged.Discard();
        throw Error(error.what() + (left.empty() ? "" : "; also can't " + left));
    }
    return {CheckedBackupSet(set.folder), staged.Left()};
}

BackupSet CheckedBackupSet(const std::string& setFolder) {
    RequireTrustedUnlinked(setFolder + "/" + kDescriptionFile);
    const UniqueFd folder = OpenFolderByPath(setFolder);
    if (!folder.IsOpen()) {
        throw SystemError("open the backup set " + setFolder);
    }
    BackupSet set = ReadDescription(folder, setFolder);
    RequireChecksums(folder, setFolder);
    RequireDescribedDatabases(set);
    return set;
}

BackupSets ListBackupSets(const std::string& folder) {
    const std::string recorder = RecorderId();
    BackupSets found = SetsIn(folder);
    std::erase_if(found.sets, [&](const BackupSet& set) { return set.recorder != recorder; });
    // Sets that somebody copied have the same number.
    std::sort(found.sets.begin(), found.sets.end(),
              [](const BackupSet& one, const BackupSet& other) {
                  return std::tie(one.number, one.takenTm, one.folder) >
                         std::tie(other.number, other.takenTm, other.folder);
              });
    return found;
}

void RemoveOldBackupSets(const std::string& folder, std::size_t keep, const BackupSet& newest) {
    const UniqueFd parent = OpenBackupFolder(folder);
    const std::vector<BackupSet> sets = ListBackupSets(folder).sets;
    std::string failures;
    for (std::size_t i = keep; i < sets.size(); ++i) {
        if (sets[i].folder == newest.folder) {
            continue;
        }
        try {
            const std::string left = RemoveSet(parent, folder, sets[i]);
            failures += left.empty() ? "" : "; " + left;
        } catch (const Error& error) {
            failures += std::string("; ") + error.what();
        }
    }
    if (!failures.empty()) {
        throw Error("an old set is not removed" + failures);
    }
}

} // namespace recorder
