#include "recorder/check/filecontents.h"

#include "recorder/support/quietreading.h"
#include "recorder/support/sha256.h"
#include "recorder/support/uninterrupted.h"

#include <cerrno>
#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

constexpr long kNanosecondsOfSecond = 1000000000;
// File systems count the modification time in steps, and within one a file can change unnoticed:
// mostly a tick of the kernel, but up to two seconds where times are whole seconds.
constexpr long kTickNs = 20000000;
constexpr long kCoarseStepNs = 2 * kNanosecondsOfSecond;
// The clock of a file server may be ahead by this much.
constexpr long kClockDifferenceNs = 60 * kNanosecondsOfSecond;

long Nanoseconds(const timespec& time) {
    return time.tv_sec * kNanosecondsOfSecond + time.tv_nsec;
}

bool MayChangeUnnoticed(const struct stat64& status) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    const long ageNs = Nanoseconds(now) - Nanoseconds(status.st_mtim);
    return ageNs > -kClockDifferenceNs &&
           ageNs < (status.st_mtim.tv_nsec == 0 ? kCoarseStepNs : kTickNs);
}

bool IsUnchanged(const struct stat64& before, const struct stat64& after) {
    return before.st_size == after.st_size &&
           Nanoseconds(before.st_mtim) == Nanoseconds(after.st_mtim) &&
           Nanoseconds(before.st_ctim) == Nanoseconds(after.st_ctim);
}

struct stat64 StatusOf(const UniqueFd& file, const std::string& path) {
    struct stat64 status = {};
    if (Uninterrupted([&] { return fstat64(file.Get(), &status); }) != 0) {
        throw SystemError("stat " + path);
    }
    return status;
}

std::string Sha256OnDisk(const UniqueFd& file, const std::string& path) {
    const IdleReading idle;
    DropFromMemory(file);
    std::string sha256 = Sha256OfFile(file, path);
    DropFromMemory(file);
    return sha256;
}

// Not open if the name is something else than a regular file.
UniqueFd OpenRegularFile(const UniqueFd& folder, const std::string& name, const std::string& path) {
    UniqueFd file(Uninterrupted([&] {
        return openat(folder.Get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    }));
    if (file.IsOpen()) {
        return S_ISREG(StatusOf(file, path).st_mode) ? std::move(file) : UniqueFd();
    }
    if (errno != ENOENT && errno != ENAMETOOLONG && errno != ELOOP && errno != ENXIO) {
        throw SystemError("open " + path);
    }
    return file;
}

FileReading ReadOpened(const UniqueFd& file, const std::string& path) {
    const struct stat64 before = StatusOf(file, path);
    if (MayChangeUnnoticed(before)) {
        return {FileReading::Outcome::BeingWritten, {}, ""};
    }
    const std::string sha256 = Sha256OnDisk(file, path);
    if (!IsUnchanged(before, StatusOf(file, path))) {
        return {FileReading::Outcome::BeingWritten, {}, ""};
    }
    return {FileReading::Outcome::Read,
            {sha256, before.st_size, Nanoseconds(before.st_mtim), std::time(nullptr)},
            ""};
}

} // namespace

FileReading ReadFile(const UniqueFd& folder, const std::string& name, const std::string& path) {
    try {
        const UniqueFd file = OpenRegularFile(folder, name, path);
        return file.IsOpen() ? ReadOpened(file, path) : FileReading{};
    } catch (const DataLost& error) {
        return {FileReading::Outcome::Lost, {}, error.what()};
    } catch (const Error& error) {
        return {FileReading::Outcome::Unknown, {}, error.what()};
    }
}

} // namespace recorder
