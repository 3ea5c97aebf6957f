#include "recorder/taskstatus/runlock.h"

#include "recorder/support/error.h"
#include "recorder/support/paths.h"

#include <fcntl.h>
#include <sys/file.h>

namespace recorder {

namespace {

constexpr mode_t kLockFileMode = 0640;

} // namespace

std::optional<RunLock> RunLock::TryTake() {
    UniqueFd file(open(kRunLockFile, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kLockFileMode));
    if (!file.IsOpen()) {
        throw SystemError(std::string("open the lock file ") + kRunLockFile);
    }
    if (flock(file.Get(), LOCK_EX | LOCK_NB) == 0) {
        return RunLock(std::move(file));
    }
    if (errno == EWOULDBLOCK) {
        return std::nullopt;
    }
    throw SystemError(std::string("lock ") + kRunLockFile);
}

void RunLock::Release() {
    // Explicitly, not by closing alone: a forked process may hold the same lock.
    flock(m_file.Get(), LOCK_UN);
    m_file.Reset();
}

} // namespace recorder
