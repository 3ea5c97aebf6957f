#include "recorder/backup/restore.h"

#include "recorder/backup/backuplock.h"
#include "recorder/backup/databasecopy.h"
#include "recorder/backup/replacement.h"
#include "recorder/database/databases.h"
#include "recorder/database/idmarks.h"
#include "recorder/database/recorderid.h"
#include "recorder/database/schema.h"
#include "recorder/run/runlock.h"
#include "recorder/run/runnumber.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/paths.h"
#include "recorder/support/presence.h"
#include "recorder/support/textfile.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/support/wholefile.h"

#include <algorithm>
#include <span>

#include <unistd.h>

namespace recorder {

namespace {

constexpr std::size_t kMaxMarkBytes = 4096;

void RequireThisVersion(const BackupSet& set) {
    if (set.schema != kSchemaVersion) {
        const bool isNewer = set.schema > kSchemaVersion;
        throw Error(set.folder + " has tables of the " + (isNewer ? "newer" : "older") +
                    " version " + std::to_string(set.schema) + "; expected " +
                    std::to_string(kSchemaVersion) + ": restore it with the krctl that took it" +
                    (isNewer ? "" : ", then run krctl init with this one"));
    }
}

// Any recorder's set is accepted if this recorder has no camera, because it was set up again, or if
// the database with its identity does not exist or is damaged.
void RequireSameRecorder(const BackupSet& set) {
    if (FilePresence(DatabasePath(KRDB::DB_SYSTEM)) == Presence::No) {
        return;
    }
    std::string recorder;
    try {
        SqliteDatabase system = OpenExisting(KRDB::DB_SYSTEM);
        if (system.Execute("SELECT id FROM camera LIMIT 1;").RowCount() == 0) {
            return;
        }
        recorder = RecorderId(system);
    } catch (const DamagedDatabase&) {
        return;
    }
    if (recorder != set.recorder) {
        throw Error(set.folder + " is a backup of another recorder (" + set.recorder +
                    "); this one is " + recorder);
    }
}

void FlushDatabaseFolder() {
    const UniqueFd folder = OpenFolderByPath(kDatabaseDir);
    if (!folder.IsOpen() || Uninterrupted([&] { return fsync(folder.Get()); }) != 0) {
        throw SystemError(std::string("flush the folder ") + kDatabaseDir);
    }
}

// The mark notes where the replaced databases are kept, for the restore that follows an interrupted
// one.
void SetMark(const std::string& replacedFolder) {
    const UniqueFd folder = OpenFolderByPath(kDatabaseDir);
    if (!folder.IsOpen()) {
        throw SystemError(std::string("open the folder ") + kDatabaseDir);
    }
    const std::string text = replacedFolder + "\n";
    WriteWholeFile(folder.Get(), kRestoreMark,
                   std::span(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
    FlushDatabaseFolder();
}

// Returns the folder that the mark notes; empty if it notes none that exists.
std::string FolderInMark() {
    const UniqueFd mark = OpenTextFileIfThere(kRestoreMarkFile, Links::Refuse);
    std::string text = mark.IsOpen() ? ReadText(mark, kRestoreMarkFile, kMaxMarkBytes) : "";
    text.resize(std::min(text.size(), text.find('\n')));
    const bool isBelow = text.starts_with(std::string(kReplacedDir) + "/");
    return isBelow && FolderPresence(text) == Presence::Yes ? text : "";
}

void RemoveMark() {
    if (unlink(kRestoreMarkFile) != 0) {
        throw SystemError(std::string("remove ") + kRestoreMarkFile);
    }
    FlushDatabaseFolder();
}

void RestoreAll(const std::string& setFolder, const Replaced& replaced) {
    StagedDatabases staged(setFolder);
    if (!replaced.areAllSound) {
        SetMark(replaced.folder); // they can't be used now, either
        MoveDamaged(replaced);
    }
    Replacement replacement(staged);
    SetMark(replaced.folder);
    replacement.Commit();
}

} // namespace

Restored RestoreBackup(const std::string& setFolder) {
    RequireSqlite();
    MakeDatabaseFolder();
    const RunLock lock = RunLock::Take("nothing was restored");
    const UniqueFd backupLock = LockBackups(); // a set taken now would be a mixture
    Restored restored{CheckedBackupSet(setFolder), {}};
    RequireThisVersion(restored.set);
    RequireSameRecorder(restored.set);
    restored.replaced =
        IsRestoreInterrupted() ? KeepDamagedDatabases(FolderInMark()) : KeepDatabases();
    RestoreAll(setFolder, restored.replaced);
    NoteIdForGood(IdKind::Run, restored.set.run);
    NoteIdForGood(IdKind::Outbox, restored.set.outbox);
    RemoveMark();
    NoteNumbersOfDatabases();
    return restored;
}

} // namespace recorder
