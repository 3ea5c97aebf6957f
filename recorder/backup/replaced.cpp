#include "recorder/backup/replaced.h"

#include "recorder/backup/backupset.h"
#include "recorder/backup/databasecopy.h"
#include "recorder/backup/setfiles.h"
#include "recorder/backup/stagedset.h"
#include "recorder/database/schema.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/format.h"
#include "recorder/support/paths.h"
#include "recorder/support/presence.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

constexpr mode_t kFolderMode = 0750;

enum class State { Sound, Damaged, Missing };

bool SeemsDamaged(KRDB::DB_INSTANCE instance) {
    try {
        SqliteDatabase database = OpenExisting(instance);
        RequireIntegrity(database);
        return false;
    } catch (const DamagedDatabase&) {
        return true;
    }
}

// Throws Error where the state could not be determined.
State StateOf(KRDB::DB_INSTANCE instance) {
    const std::string path = DatabasePath(instance);
    const Presence presence = FilePresence(path);
    if (presence == Presence::Unknown) {
        throw Error("can't examine " + path);
    }
    if (presence == Presence::No) {
        return State::Missing;
    }
    const bool isDamaged = SeemsDamaged(instance);
    // SQLite may report a failed read as damage, but damage is found each time.
    if (isDamaged && !SeemsDamaged(instance)) {
        throw Error("can't check " + path + ": it was found damaged, then sound");
    }
    return isDamaged ? State::Damaged : State::Sound;
}

using States = std::array<State, kDatabaseInstances.size()>;

States StatesNow() {
    States states{};
    std::transform(kDatabaseInstances.begin(), kDatabaseInstances.end(), states.begin(), StateOf);
    return states;
}

UniqueFd OpenReplacedFolder() {
    if (mkdir(kReplacedDir, kFolderMode) != 0 && errno != EEXIST) {
        throw SystemError(std::string("create the folder ") + kReplacedDir);
    }
    UniqueFd folder = OpenFolderByPath(kReplacedDir);
    if (!folder.IsOpen()) {
        throw SystemError(std::string("open the folder ") + kReplacedDir);
    }
    return folder;
}

// A name in the open folder that nothing has. Only the holder of the backup lock gives such names.
std::string NewName(const UniqueFd& folder) {
    for (int number = 1;; ++number) {
        std::string name = Format("files-%06d", number);
        struct stat64 st = {};
        if (fstatat64(folder.Get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) {
            continue;
        }
        if (errno != ENOENT) {
            throw SystemError(std::string("examine ") + kReplacedDir + "/" + name);
        }
        return name;
    }
}

std::string NameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

std::vector<std::string> DamagedOf(const States& states) {
    std::vector<std::string> damaged;
    for (std::size_t i = 0; i < states.size(); ++i) {
        if (states.at(i) == State::Damaged) {
            damaged.push_back(DatabasePath(kDatabaseInstances.at(i)));
        }
    }
    return damaged;
}

// Returns a new folder with copies of the sound databases.
std::string KeepSound(const States& states) {
    const UniqueFd parent = OpenReplacedFolder();
    StagedSet staged(parent, kReplacedDir, kReplacedFiles);
    for (std::size_t i = 0; i < states.size(); ++i) {
        if (states.at(i) == State::Sound) {
            SqliteDatabase database = OpenExisting(kDatabaseInstances.at(i));
            CopyDatabase(database, staged.Path() + "/" + kCheckedFiles.at(i));
        }
    }
    const std::string name = NewName(parent);
    staged.Publish(name);
    return std::string(kReplacedDir) + "/" + name;
}

} // namespace

Replaced KeepDatabases() {
    const States states = StatesNow();
    const auto areAll = [&](State state) {
        return std::all_of(states.begin(), states.end(), [&](State is) { return is == state; });
    };
    if (areAll(State::Missing)) {
        return {};
    }
    if (areAll(State::Sound)) {
        (void)OpenReplacedFolder();
        return {TakeBackup(kReplacedDir).set.folder, {}, true};
    }
    return {KeepSound(states), DamagedOf(states), false};
}

Replaced KeepDamagedDatabases(const std::string& folder) {
    const std::vector<std::string> damaged = DamagedOf(StatesNow());
    if (damaged.empty() || !folder.empty()) {
        return {folder, damaged, false};
    }
    return {KeepSound({State::Missing, State::Missing, State::Missing}), damaged, false};
}

void MoveDamaged(const Replaced& replaced) {
    for (const std::string& path : replaced.damaged) {
        for (const char* const suffix : kDatabaseFileSuffixes) {
            const std::string to = replaced.folder + "/" + NameOf(path) + suffix;
            if (std::rename((path + suffix).c_str(), to.c_str()) != 0 && errno != ENOENT) {
                throw SystemError("move " + path + suffix + " to " + to);
            }
        }
    }
}

KeptByRestores FindKeptByRestores() {
    namespace fs = std::filesystem;
    KeptByRestores kept;
    if (!fs::exists(fs::symlink_status(kReplacedDir))) {
        return kept;
    }
    try {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(kReplacedDir)) {
            struct stat64 st = {};
            if (lstat64(entry.path().c_str(), &st) != 0) {
                throw SystemError("examine " + entry.path().string());
            }
            const bool isFolder = S_ISDIR(st.st_mode);
            kept.bytes += isFolder ? 0 : st.st_size;
            if (isFolder && entry.path().parent_path() == kReplacedDir) {
                kept.oldestTm = kept.folders == 0 ? st.st_mtim.tv_sec
                                                  : std::min(kept.oldestTm, st.st_mtim.tv_sec);
                ++kept.folders;
            }
        }
    } catch (const fs::filesystem_error& error) {
        throw Error(std::string("list ") + kReplacedDir + ": " + error.code().message());
    }
    return kept;
}

} // namespace recorder
