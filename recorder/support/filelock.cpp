#include "recorder/support/filelock.h"

#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace recorder {

namespace {

constexpr mode_t kLockFileMode = 0640;

// Writing to a FIFO would block when it is full, and opening a device can have any effect.
void RequireRegular(const UniqueFd& file, const char* path) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return fstat64(file.Get(), &st); }) != 0) {
        throw SystemError(std::string("examine the lock file ") + path);
    }
    if (!S_ISREG(st.st_mode)) {
        throw Error(std::string("can't use the lock file ") + path + ": expected a regular file");
    }
}

} // namespace

UniqueFd OpenLockFile(const char* path) {
    UniqueFd file(Uninterrupted([&] {
        return open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, kLockFileMode);
    }));
    if (!file.IsOpen()) {
        throw SystemError(std::string("open the lock file ") + path);
    }
    RequireRegular(file, path);
    return file;
}

std::optional<UniqueFd> TryLockFile(const char* path) {
    UniqueFd file = OpenLockFile(path);
    if (Uninterrupted([&] { return flock(file.Get(), LOCK_EX | LOCK_NB); }) == 0) {
        return file;
    }
    if (errno == EWOULDBLOCK) {
        return std::nullopt;
    }
    throw SystemError(std::string("lock ") + path);
}

} // namespace recorder
