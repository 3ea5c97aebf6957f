// Locks that the kernel releases when the process is gone.

#pragma once

#include "recorder/support/uniquefd.h"

#include <optional>

namespace recorder {

// The file at `path`, made if it isn't there, locked until it is closed here and in every process
// that was forked meanwhile. Nothing when another process holds the lock. Throws Error when the
// file can't be used.
[[nodiscard]] std::optional<UniqueFd> TryLockFile(const char* path);

// Opens the file without locking it, and makes it if it isn't there. Throws Error.
[[nodiscard]] UniqueFd OpenLockFile(const char* path);

} // namespace recorder
