// A backup of the databases to one or more folders, and the note that an unfinished one leaves.

#pragma once

#include "recorder/backup/backupset.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace recorder {

enum class BackupWhen {
    Always,
    Changed, // only if the newest set of the folder lacks changes of rows by a run
};

// The result for one folder: a set, a failure, or neither if no backup was necessary. Both if the
// set was taken, but something older could not be removed.
struct FolderBackup {
    std::string folder;
    std::optional<BackupSet> set;
    std::string failure; // empty: none
};

// Takes a backup to each folder, an absolute path, and removes the sets of this recorder there
// except the newest `keep`. A folder that fails does not prevent the others. Throws Error if no
// backup can be started: the databases are not SQLite's or half restored, or another backup or
// a restore is in progress.
[[nodiscard]] std::vector<FolderBackup> BackUp(const std::vector<std::string>& folders,
                                               std::size_t keep, BackupWhen when);

// The reasons why the last backup to the folders of the settings failed or was not finished, in
// one line; empty if it succeeded, or if a backup is in progress. Throws Error if that
// could not be determined.
[[nodiscard]] std::string LastBackupFailure();

} // namespace recorder
