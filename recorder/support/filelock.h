// Locks that the kernel releases when the process ends.

#pragma once

#include "recorder/support/uniquefd.h"

#include <optional>

namespace recorder {

// Opens the file at `path`, creates it if it does not exist, and locks it. The lock ends when the
// file is closed here and in every process that was forked in the meantime. Returns nothing when
// another process holds the lock. Throws Error if the file can't be used.
[[nodiscard]] std::optional<UniqueFd> TryLockFile(const char* path);

// Opens the file without locking it, and creates it if it does not exist. Throws Error.
[[nodiscard]] UniqueFd OpenLockFile(const char* path);

} // namespace recorder
