#include "recorder/taskstatus/runlock.h"

#include "recorder/support/filelock.h"
#include "recorder/support/paths.h"

#include <sys/file.h>

namespace recorder {

std::optional<RunLock> RunLock::TryTake() {
    std::optional<UniqueFd> file = TryLockFile(kRunLockFile);
    return file ? std::optional(RunLock(std::move(*file))) : std::nullopt;
}

void RunLock::Release() {
    // Explicitly, not by closing alone: a forked process may hold the same lock.
    flock(m_file.Get(), LOCK_UN);
    m_file.Reset();
}

} // namespace recorder
