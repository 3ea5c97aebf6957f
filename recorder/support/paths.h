// The paths of the recorder's files. They are fixed, so that the caller of a program that runs as
// root can't choose its settings and databases.

#pragma once

#define KESTORA_ROOT "/var/packages/Kestora"

namespace recorder {

constexpr const char* kSettingsFile = KESTORA_ROOT "/etc/kestora.toml";
constexpr const char* kDatabaseDir = KESTORA_ROOT "/var/db";
// The databases that a restore prepares before it replaces any; the names of the databases follow.
constexpr const char* kStagedDatabasePrefix = KESTORA_ROOT "/var/db/restoring.tmp.";
constexpr const char* kRunLockFile = KESTORA_ROOT "/var/db/reindex.lock";
constexpr const char* kOutboxLockFile = KESTORA_ROOT "/var/db/outbox.lock";
constexpr const char* kBackupLockFile = KESTORA_ROOT "/var/db/backup.lock";
constexpr const char* kBackupNote = "unfinished-backup"; // in kDatabaseDir
constexpr const char* kBackupNoteFile = KESTORA_ROOT "/var/db/unfinished-backup";
constexpr const char* kRestoreMark = "restoring"; // in kDatabaseDir
constexpr const char* kRestoreMarkFile = KESTORA_ROOT "/var/db/restoring";
constexpr const char* kReplacedDir = KESTORA_ROOT "/var/db/replaced";
constexpr const char* kIdMarksFile = KESTORA_ROOT "/var/db/numbers";
constexpr const char* kLogFile = KESTORA_ROOT "/var/log/kestora.log";
constexpr const char* kDefaultSnapshotDir = KESTORA_ROOT "/var/snapshot";
constexpr const char* kEmapDir = KESTORA_ROOT "/target/@KREmap";

} // namespace recorder

#undef KESTORA_ROOT
