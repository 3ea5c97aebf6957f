#include "recorder/run/runmark.h"

#include "recorder/support/error.h"
#include "recorder/support/paths.h"

#include <cstdio>
#include <string>

#include <fcntl.h>

namespace recorder {

namespace {

struct flock64 ByteOfMark(short type) {
    struct flock64 byte = {};
    byte.l_type = type;
    byte.l_whence = SEEK_SET;
    byte.l_start = 0;
    byte.l_len = 1;
    return byte;
}

} // namespace

bool SetRunMark(const UniqueFd& lockFile) noexcept {
    struct flock64 mark = ByteOfMark(F_WRLCK);
    return fcntl(lockFile.Get(), F_OFD_SETLK, &mark) == 0;
}

void RemoveRunMark(const UniqueFd& lockFile) noexcept {
    struct flock64 mark = ByteOfMark(F_UNLCK);
    fcntl(lockFile.Get(), F_OFD_SETLK, &mark);
}

bool CanHoldRunMark(const UniqueFd& lockFile) noexcept {
    struct flock64 beside = ByteOfMark(F_RDLCK);
    beside.l_start = 1; // nobody asks for this byte
    if (fcntl(lockFile.Get(), F_OFD_SETLK, &beside) != 0) {
        return false;
    }
    beside.l_type = F_UNLCK;
    fcntl(lockFile.Get(), F_OFD_SETLK, &beside);
    return true;
}

bool HasRunMark(const UniqueFd& lockFile) {
    // As a reader: another process that holds a shared lock on the byte is no run.
    struct flock64 mark = ByteOfMark(F_RDLCK);
    if (fcntl(lockFile.Get(), F_OFD_GETLK, &mark) != 0) {
        throw SystemError(std::string("query the lock of ") + kRunLockFile);
    }
    return mark.l_type != F_UNLCK;
}

} // namespace recorder
