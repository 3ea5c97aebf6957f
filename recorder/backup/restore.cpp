#include "recorder/backup/restore.h"

#include "recorder/backup/databasecopy.h"
#include "recorder/backup/setfiles.h"
#include "recorder/database/databases.h"
#include "recorder/database/idmarks.h"
#include "recorder/database/recorderid.h"
#include "recorder/database/schema.h"
#include "recorder/run/runlock.h"
#include "recorder/run/runnumber.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/paths.h"
#include "recorder/support/presence.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/support/wholefile.h"

#include <span>

#include <unistd.h>

namespace recorder {

namespace {

constexpr ExecuteOptions kNoTransaction{.transaction = false};

int LockTimeoutMs() {
    return GetSettings().database.lockTimeoutMs;
}

void RequireThisVersion(const BackupSet& set) {
    if (set.schema != kSchemaVersion) {
        throw Error(set.folder + " has tables of version " + std::to_string(set.schema) +
                    "; expected " + std::to_string(kSchemaVersion));
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

void SetMark(const std::string& setFolder) {
    const UniqueFd folder = OpenFolderByPath(kDatabaseDir);
    const std::string text = setFolder + "\n";
    WriteWholeFile(folder.Get(), kRestoreMark,
                   std::span(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
    FlushDatabaseFolder();
}

void RemoveMark() {
    if (unlink(kRestoreMarkFile) != 0) {
        throw SystemError(std::string("remove ") + kRestoreMarkFile);
    }
    FlushDatabaseFolder();
}

// Ids that this database has given to rows are not given again after the restore.
std::string RaiseIdsOf(SqliteDatabase& database) {
    std::string sql;
    const DBResult_tag rows = database.Execute("SELECT name, seq FROM sqlite_sequence;");
    for (int row = 0; row < rows.RowCount(); ++row) {
        sql += database.RaiseIdsSql(rows.Text(row, "name"), rows.Long(row, "seq"));
    }
    return sql;
}

void RemoveStaged() {
    for (const char* const suffix : kDatabaseFileSuffixes) {
        const std::string path = std::string(kStagedDatabaseFile) + suffix;
        if (unlink(path.c_str()) != 0 && errno != ENOENT) {
            throw SystemError("remove " + path);
        }
    }
}

void RestoreDatabase(const std::string& copy, const std::string& path) {
    RemoveStaged();
    SqliteDatabase database = SqliteDatabase::Create(path, LockTimeoutMs());
    SqliteDatabase staged = SqliteDatabase::Create(kStagedDatabaseFile, LockTimeoutMs());
    SqliteDatabase::OpenReadOnly(copy, SqliteReadMode::Immutable, LockTimeoutMs()).CopyInto(staged);
    if (database.SchemaVersion() == kSchemaVersion) {
        staged.Execute(RaiseIdsOf(database));
    }
    database.Execute("PRAGMA synchronous = FULL;", kNoTransaction);
    staged.CopyInto(database);
}

} // namespace

Restored RestoreBackup(const std::string& setFolder) {
    RequireSqlite();
    MakeDatabaseFolder();
    const RunLock lock = RunLock::Take("nothing was restored");
    Restored restored{CheckedBackupSet(setFolder), {}};
    RequireThisVersion(restored.set);
    RequireSameRecorder(restored.set);
    restored.replaced = IsRestoreInterrupted() ? KeepDamagedDatabases() : KeepDatabases();
    SetMark(setFolder);
    MoveDamaged(restored.replaced);
    for (std::size_t i = 0; i < kDatabaseInstances.size(); ++i) {
        RestoreDatabase(setFolder + "/" + kCheckedFiles.at(i),
                        DatabasePath(kDatabaseInstances.at(i)));
    }
    RemoveStaged();
    NoteIdForGood(IdKind::Run, restored.set.run);
    NoteIdForGood(IdKind::Outbox, restored.set.outbox);
    RemoveMark();
    NoteNumbersOfDatabases();
    return restored;
}

} // namespace recorder
