#include "recorder/database/sqlitefiles.h"

#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <array>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr std::array<const char*, 4> kSuffixes{"", "-wal", "-shm", "-journal"};

bool IsRoomFor(int file, size_t length) {
    struct statvfs64 st = {};
    if (Uninterrupted([&] { return fstatvfs64(file, &st); }) != 0) {
        return false;
    }
    const auto blocks = geteuid() == 0 ? st.f_bfree : st.f_bavail;
    if (blocks * st.f_frsize < length) {
        errno = ENOSPC;
        return false;
    }
    return true;
}

// posix_fallocate could write to blocks that other processes have already mapped.
bool TakeSpace(int file, size_t length, off_t offset) {
    if (Uninterrupted([&] { return fallocate(file, 0, offset, static_cast<off_t>(length)); }) ==
        0) {
        return true;
    }
    // The file system can't allocate: a check of the free space is the best that is possible.
    return (errno == EOPNOTSUPP || errno == ENOSYS) && IsRoomFor(file, length);
}

} // namespace

void RequireRegularFiles(const std::string& path) {
    for (const char* const suffix : kSuffixes) {
        const std::string name = path + suffix;
        struct stat64 st = {};
        if (Uninterrupted([&] { return stat64(name.c_str(), &st); }) == 0 && !S_ISREG(st.st_mode)) {
            throw DatabaseUnusable("database " + path + ": can't open it: " +
                                   (*suffix == '\0' ? "it" : name) + " is not a regular file");
        }
    }
}

void* MapWithSpace(void* address, size_t length, int protection, int flags, int file,
                   off_t offset) noexcept {
    if ((protection & PROT_WRITE) != 0 && (flags & MAP_SHARED) != 0 &&
        !TakeSpace(file, length, offset)) {
        return MAP_FAILED;
    }
    return mmap(address, length, protection, flags, file, offset);
}

} // namespace recorder
