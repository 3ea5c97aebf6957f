#include "recorder/backup/backuplock.h"

#include "recorder/support/error.h"
#include "recorder/support/filelock.h"
#include "recorder/support/paths.h"
#include "recorder/support/uninterrupted.h"

#include <chrono>
#include <optional>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>

namespace recorder {

namespace {

// IsBackupInProgress holds the lock for a moment.
constexpr int kAttempts = 20;
constexpr std::chrono::milliseconds kPause{100};

} // namespace

UniqueFd LockBackups() {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (std::optional<UniqueFd> lock = TryLockFile(kBackupLockFile)) {
            return std::move(*lock);
        }
        std::this_thread::sleep_for(kPause);
    }
    throw Busy("another backup or a restore is in progress");
}

bool IsBackupInProgress() {
    const UniqueFd file(
        Uninterrupted([&] { return open(kBackupLockFile, O_RDONLY | O_NOFOLLOW | O_CLOEXEC); }));
    if (!file.IsOpen() && errno == ENOENT) {
        return false;
    }
    if (!file.IsOpen()) {
        throw SystemError(std::string("open ") + kBackupLockFile);
    }
    if (Uninterrupted([&] { return flock(file.Get(), LOCK_SH | LOCK_NB); }) == 0) {
        return false;
    }
    if (errno != EWOULDBLOCK) {
        throw SystemError(std::string("lock ") + kBackupLockFile);
    }
    return true;
}

} // namespace recorder
