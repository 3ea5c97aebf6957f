#include "recorder/run/runmark.h"

#include "recorder/support/error.h"
#include "recorder/support/paths.h"

#include <cstdio>
#include <string>

#include <fcntl.h>

namespace recorder {

namespace {

enum Byte : off64_t { kRun = 0, kTrial = 1, kUnregisteredRun = 2 };

struct flock64 LockOf(Byte which, short type) {
    struct flock64 byte = {};
    byte.l_type = type;
    byte.l_whence = SEEK_SET;
    byte.l_start = which;
    byte.l_len = 1;
    return byte;
}

bool IsHeld(const UniqueFd& lockFile, struct flock64 lock) {
    if (fcntl(lockFile.Get(), F_OFD_GETLK, &lock) != 0) {
        throw SystemError(std::string("query the lock of ") + kRunLockFile);
    }
    return lock.l_type != F_UNLCK;
}

} // namespace

bool SetRunMark(const UniqueFd& lockFile) noexcept {
    struct flock64 mark = LockOf(kRun, F_WRLCK);
    return fcntl(lockFile.Get(), F_OFD_SETLK, &mark) == 0;
}

void RemoveRunMark(const UniqueFd& lockFile) noexcept {
    struct flock64 mark = LockOf(kRun, F_UNLCK);
    fcntl(lockFile.Get(), F_OFD_SETLK, &mark);
}

bool CanHoldRunMark(const UniqueFd& lockFile) noexcept {
    struct flock64 beside = LockOf(kTrial, F_RDLCK);
    if (fcntl(lockFile.Get(), F_OFD_SETLK, &beside) != 0) {
        return false;
    }
    beside.l_type = F_UNLCK;
    fcntl(lockFile.Get(), F_OFD_SETLK, &beside);
    return true;
}

bool HasRunMark(const UniqueFd& lockFile) {
    // A shared lock is queried: another process that holds a shared lock on the byte is not a run.
    return IsHeld(lockFile, LockOf(kRun, F_RDLCK));
}

void SetUnregisteredRunMark(const UniqueFd& lockFile) noexcept {
    struct flock64 mark = LockOf(kUnregisteredRun, F_RDLCK);
    fcntl(lockFile.Get(), F_OFD_SETLK, &mark);
}

bool HasUnregisteredRunMark(const UniqueFd& lockFile) {
    return IsHeld(lockFile, LockOf(kUnregisteredRun, F_WRLCK));
}

} // namespace recorder
