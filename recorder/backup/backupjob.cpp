#include "recorder/backup/backupjob.h"

#include "recorder/backup/backuplock.h"
#include "recorder/backup/databasecopy.h"
#include "recorder/backup/replacement.h"
#include "recorder/backup/setcontent.h"
#include "recorder/database/databases.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/paths.h"
#include "recorder/support/textfile.h"
#include "recorder/support/wholefile.h"

#include <span>

#include <unistd.h>

namespace recorder {

namespace {

constexpr const char* kNotFinished = "the last backup was killed before its end\n";
constexpr std::size_t kMaxNoteBytes = 65536;

// The note is there from the beginning of a backup to its success, so a killed backup leaves it.
void WriteNote(const std::string& text) {
    const UniqueFd folder = OpenFolderByPath(kDatabaseDir);
    if (!folder.IsOpen()) {
        throw SystemError(std::string("open the folder ") + kDatabaseDir);
    }
    WriteWholeFile(folder.Get(), kBackupNote,
                   std::span(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
}

void EndNote(const std::vector<FolderBackup>& backups) {
    std::string failures;
    for (const FolderBackup& backup : backups) {
        if (!backup.failure.empty()) {
            failures += (failures.empty() ? "" : "; ") + backup.folder + ": " + backup.failure;
        }
    }
    if (!failures.empty()) {
        WriteNote(failures + "\n");
    } else if (unlink(kBackupNoteFile) != 0 && errno != ENOENT) {
        throw SystemError(std::string("remove ") + kBackupNoteFile);
    }
}

// Returns true if the newest set of the folder lacks the changes of a run, or can't be read.
bool IsOutdated(const std::string& folder) {
    const std::vector<BackupSet> sets = ListBackupSets(folder).sets;
    if (sets.empty()) {
        return true;
    }
    try {
        return HasOtherChanges(sets.front());
    } catch (const Error&) { // if the recorder's databases can't be read, the backup says so
        return true;
    }
}

FolderBackup BackUpTo(const std::string& folder, std::size_t keep, BackupWhen when) {
    FolderBackup backup{folder, std::nullopt, ""};
    try {
        if (when == BackupWhen::Always || IsOutdated(folder)) {
            TakenBackup taken = TakeBackup(folder);
            backup.set = std::move(taken.set);
            backup.failure = std::move(taken.left);
            RemoveOldBackupSets(folder, keep, *backup.set);
        }
    } catch (const Error& error) {
        backup.failure += (backup.failure.empty() ? "" : "; ") + std::string(error.what());
    }
    return backup;
}

} // namespace

std::vector<FolderBackup> BackUp(const std::vector<std::string>& folders, std::size_t keep,
                                 BackupWhen when) {
    RequireSqlite();
    const UniqueFd lock = LockBackups();
    RequireNoInterruptedRestore();
    LogExceptions(RemoveStagedDatabases);
    const bool hasNote = folders == GetSettings().backup.folders;
    if (hasNote) {
        WriteNote(kNotFinished);
    }
    std::vector<FolderBackup> backups;
    backups.reserve(folders.size());
    for (const std::string& folder : folders) {
        backups.push_back(BackUpTo(folder, keep, when));
    }
    if (hasNote) {
        EndNote(backups);
    }
    return backups;
}

std::string LastBackupFailure() {
    if (IsBackupInProgress()) {
        return "";
    }
    const UniqueFd note = OpenTextFileIfThere(kBackupNoteFile, Links::Refuse);
    std::string text = note.IsOpen() ? ReadText(note, kBackupNoteFile, kMaxNoteBytes) : "";
    text.resize(text.empty() ? 0 : text.size() - 1); // without the newline at its end
    return text;
}

} // namespace recorder
