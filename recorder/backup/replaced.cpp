#include "recorder/backup/replaced.h"

#include "recorder/backup/backuplock.h"
#include "recorder/backup/backupset.h"
#include "recorder/backup/databasecopy.h"
#include "recorder/database/schema.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/paths.h"
#include "recorder/support/presence.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include <sys/stat.h>

namespace recorder {

namespace {

constexpr mode_t kFolderMode = 0750;

enum class State { Sound, Damaged, Missing };

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
    try {
        SqliteDatabase database = OpenExisting(instance);
        RequireIntegrity(database);
        return State::Sound;
    } catch (const DamagedDatabase&) {
        return State::Damaged;
    }
}

using States = std::array<State, kDatabaseInstances.size()>;

States StatesNow() {
    States states{};
    std::transform(kDatabaseInstances.begin(), kDatabaseInstances.end(), states.begin(), StateOf);
    return states;
}

void MakeReplacedFolder() {
    if (mkdir(kReplacedDir, kFolderMode) != 0 && errno != EEXIST) {
        throw SystemError(std::string("create the folder ") + kReplacedDir);
    }
}

std::string MakeNewFolder() {
    for (int number = 1;; ++number) {
        std::string path = Format("%s/files-%06d", kReplacedDir, number);
        if (mkdir(path.c_str(), kFolderMode) == 0) {
            return path;
        }
        if (errno != EEXIST) {
            throw SystemError("create the folder " + path);
        }
    }
}

std::string NameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

} // namespace

Replaced KeepDamagedDatabases() {
    const States states = StatesNow();
    Replaced replaced;
    for (std::size_t i = 0; i < states.size(); ++i) {
        if (states.at(i) == State::Damaged) {
            replaced.damaged.push_back(DatabasePath(kDatabaseInstances.at(i)));
        }
    }
    if (!replaced.damaged.empty()) {
        MakeReplacedFolder();
        replaced.folder = MakeNewFolder();
    }
    return replaced;
}

Replaced KeepDatabases() {
    const States states = StatesNow();
    const auto areAll = [&](State state) {
        return std::all_of(states.begin(), states.end(), [&](State is) { return is == state; });
    };
    if (areAll(State::Missing)) {
        return {};
    }
    MakeReplacedFolder();
    if (areAll(State::Sound)) {
        const UniqueFd lock = LockBackups();
        return {TakeBackup(kReplacedDir).folder, {}};
    }
    Replaced replaced{MakeNewFolder(), {}};
    for (std::size_t i = 0; i < states.size(); ++i) {
        const std::string path = DatabasePath(kDatabaseInstances.at(i));
        if (states.at(i) == State::Sound) {
            SqliteDatabase database = OpenExisting(kDatabaseInstances.at(i));
            CopyDatabase(database, replaced.folder + "/" + NameOf(path));
        } else if (states.at(i) == State::Damaged) {
            replaced.damaged.push_back(path);
        }
    }
    return replaced;
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

} // namespace recorder
