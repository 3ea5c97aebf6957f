#include "recorder/support/filelock.h"

#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <fcntl.h>
#include <sys/file.h>

namespace recorder {

namespace {

constexpr mode_t kLockFileMode = 0640;

} // namespace

std::optional<UniqueFd> TryLockFile(const char* path) {
    UniqueFd file(Uninterrupted(
        [&] { return open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kLockFileMode); }));
    if (!file.IsOpen()) {
        throw SystemError(std::string("open the lock file ") + path);
    }
    if (flock(file.Get(), LOCK_EX | LOCK_NB) == 0) {
        return file;
    }
    if (errno == EWOULDBLOCK) {
        return std::nullopt;
    }
    throw SystemError(std::string("lock ") + path);
}

} // namespace recorder
