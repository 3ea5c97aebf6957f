// Backup sets: copies of the recorder's SQLite databases as of one moment, each set in a separate
// folder.
//
//   kestora-000017-20261123T010500Z/
//     system.db recording.db snapshot.db   the databases, without logs beside them
//     set                                  what the set is (BackupSet)
//     SHA256SUMS                           of all these files; "sha256sum -c SHA256SUMS" reads it
//
// A set is built under a hidden name and gets its name when it is complete, checked and on the
// disk. Sets are ordered by their number, because the clock of a recorder may be wrong.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace recorder {

struct BackupSet {
    std::string folder;   // absolute path of the set
    std::string recorder; // UUID of the recorder that the set was taken of
    long number = 0;      // 1, 2, ... among the recorder's sets in one folder
    int64_t takenTm = 0;  // seconds since the epoch, by the recorder's clock
    long schema = 0;      // version of the tables
    long run = 0;         // the highest run number that was given by then; 0 = none
    long outbox = 0;      // the highest message number that was given by then; 0 = none
    int64_t sizeBytes = 0;
};

// Copies the SQLite databases into a new set in `folder`, an absolute path. The caller holds the
// backup lock (backuplock.h). Recording and runs can continue in the meantime. Throws Error: the
// databases can't be read or are damaged, or the folder is missing, full or writable by other users
// (trust.h). An incomplete set is removed; that of a killed process is removed by the next backup.
[[nodiscard]] BackupSet TakeBackup(const std::string& folder);

// The set in `setFolder`. Throws Error if it isn't one, or was changed or damaged since: a file is
// missing or its checksum differs.
[[nodiscard]] BackupSet CheckedBackupSet(const std::string& setFolder);

// This recorder's sets in `folder`, newest first; their contents are not checked. Throws Error.
[[nodiscard]] std::vector<BackupSet> ListBackupSets(const std::string& folder);

// Removes this recorder's sets in `folder` except the newest `keep`. The caller holds the backup
// lock. Throws Error.
void RemoveOldBackupSets(const std::string& folder, std::size_t keep);

} // namespace recorder
