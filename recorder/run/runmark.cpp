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

// Sets, changes or removes this process's lock on a byte. Returns false if that isn't possible.
bool Lock(const UniqueFd& lockFile, Byte which, short type) noexcept {
    struct flock64 lock = LockOf(which, type);
    return fcntl(lockFile.Get(), F_OFD_SETLK, &lock) == 0;
}

// Returns true if a lock of this type would conflict with that of another process.
bool IsHeld(const UniqueFd& lockFile, Byte which, short type) {
    struct flock64 lock = LockOf(which, type);
    if (fcntl(lockFile.Get(), F_OFD_GETLK, &lock) != 0) {
        throw SystemError(std::string("query the lock of ") + kRunLockFile);
    }
    return lock.l_type != F_UNLCK;
}

} // namespace

bool SetRunMark(const UniqueFd& lockFile) noexcept {
    return Lock(lockFile, kRun, F_WRLCK);
}

void RemoveRunMark(const UniqueFd& lockFile) noexcept {
    Lock(lockFile, kRun, F_UNLCK);
}

bool CanHoldRunMark(const UniqueFd& lockFile) noexcept {
    return Lock(lockFile, kTrial, F_RDLCK) && Lock(lockFile, kTrial, F_UNLCK);
}

bool HasRunMark(const UniqueFd& lockFile) {
    // A shared lock is queried: another process that holds a shared lock on the byte is not a run.
    return IsHeld(lockFile, kRun, F_RDLCK);
}

void SetUnregisteredRunMark(const UniqueFd& lockFile) noexcept {
    Lock(lockFile, kUnregisteredRun, F_RDLCK);
}

bool HasUnregisteredRunMark(const UniqueFd& lockFile) {
    return IsHeld(lockFile, kUnregisteredRun, F_WRLCK);
}

} // namespace recorder
