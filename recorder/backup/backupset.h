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

// A set that exists, but can't be used.
struct UnreadableSet {
    std::string folder; // absolute path
    std::string reason;
};

struct BackupSets {
    std::vector<BackupSet> sets;
    std::vector<UnreadableSet> unreadable; // of which it is unknown whose sets they are
};

struct TakenBackup {
    BackupSet set;
    std::string left; // what can't be removed of an earlier, unfinished set; empty: nothing
};

// Copies the SQLite databases into a new set in `folder`, an absolute path. The caller holds the
// backup lock (backuplock.h). Recording and runs can continue in the meantime. Throws Error: the
// databases can't be read or are damaged, or the folder is missing, full or writable by other users
// (trust.h). An incomplete set is removed; that of a killed process is removed by the next backup.
[[nodiscard]] TakenBackup TakeBackup(const std::string& folder);

// The set in `setFolder`. Throws Error if it isn't one, or was changed or damaged since: a file is
// missing, its checksum differs, or the databases are not those that the description describes.
[[nodiscard]] BackupSet CheckedBackupSet(const std::string& setFolder);

// This recorder's sets in `folder`, newest first; their contents are not checked. Throws Error.
[[nodiscard]] BackupSets ListBackupSets(const std::string& folder);

// Removes this recorder's sets in `folder` except the newest `keep` and `newest`, which was just
// taken. The caller holds the backup lock. Throws Error, after removing the others, if one can't be
// removed completely; it is then no longer listed.
void RemoveOldBackupSets(const std::string& folder, std::size_t keep, const BackupSet& newest);

} // namespace recorder
