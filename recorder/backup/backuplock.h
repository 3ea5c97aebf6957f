// The lock of the process that takes or removes backup sets, or restores one.

#pragma once

#include "recorder/support/uniquefd.h"

namespace recorder {

// Takes the lock until the result is closed. Throws Busy if another process keeps it for more than
// two seconds, and Error if the lock file can't be used.
[[nodiscard]] UniqueFd LockBackups();

// Returns true if a process holds the lock. Creates no file. Throws Error if the lock file can't be
// read.
[[nodiscard]] bool IsBackupInProgress();

} // namespace recorder
