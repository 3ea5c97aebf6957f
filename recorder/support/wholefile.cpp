#include "recorder/support/wholefile.h"

#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/support/uniquefd.h"

#include <cstdio>
#include <functional>
#include <optional>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr mode_t kFileMode = 0640;

// Always the same for the same file, so that what a killed process left is taken over by the next
// one that writes this file. Of fixed length, as `name` may be as long as a name can be.
std::string TemporaryName(const std::string& name) {
    return ".kestora-" + std::to_string(std::hash<std::string>()(name)) + ".tmp";
}

// Nothing when it could not be told.
std::optional<bool> IsStillNamed(int folder, const std::string& name, int file) {
    struct stat64 named = {};
    struct stat64 open = {};
    if (Uninterrupted(
            [&] { return fstatat64(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW); }) != 0) {
        return errno == ENOENT ? std::optional(false) : std::nullopt;
    }
    if (Uninterrupted([&] { return fstat64(file, &open); }) != 0) {
        return std::nullopt;
    }
    return named.st_dev == open.st_dev && named.st_ino == open.st_ino;
}

// Demands that the temporary file is this process's alone.
void LockTemporary(int folder, const std::string& name, int file) {
    if (flock(file, LOCK_EX | LOCK_NB) != 0) {
        throw Error("another process is writing it");
    }
    // The other process may have renamed it between our opening and our locking.
    const std::optional<bool> stillNamed = IsStillNamed(folder, name, file);
    if (!stillNamed) {
        const Error error = SystemError("stat " + name);
        unlinkat(folder, name.c_str(), 0); // at worst another process's, whose renaming then fails
        throw error;
    }
    if (!*stillNamed) {
        throw Error("another process is writing it");
    }
}

UniqueFd OpenTemporary(int folder, const std::string& name) {
    UniqueFd file(Uninterrupted([&] {
        return openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kFileMode);
    }));
    if (!file.IsOpen()) {
        throw SystemError("create " + name);
    }
    LockTemporary(folder, name, file.Get());
    return file;
}

void WriteAndFlush(int file, std::span<const uint8_t> bytes) {
    if (Uninterrupted([&] { return ftruncate(file, 0); }) != 0) {
        throw SystemError("empty the temporary file");
    }
    while (!bytes.empty()) {
        const ssize_t length =
            Uninterrupted([&] { return write(file, bytes.data(), bytes.size()); });
        if (length < 0) {
            throw SystemError("write");
        }
        bytes = bytes.subspan(static_cast<std::size_t>(length));
    }
    if (Uninterrupted([&] { return fsync(file); }) != 0) {
        throw SystemError("flush");
    }
}

// Renames, or fails with EEXIST when the name is taken.
bool RenameToNewName(int folder, const std::string& from, const std::string& to) {
    if (Uninterrupted([&] {
            return renameat2(folder, from.c_str(), folder, to.c_str(), RENAME_NOREPLACE);
        }) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return false;
    }
    // A file system that can't rename so; what can't link either is refused by it.
    if (Uninterrupted([&] { return linkat(folder, from.c_str(), folder, to.c_str(), 0); }) != 0) {
        return false;
    }
    unlinkat(folder, from.c_str(), 0);
    return true;
}

// Writes the temporary file and lets `publish` give it its name.
void WriteThen(int folder, const std::string& name, std::span<const uint8_t> bytes,
               const std::function<void(int file, const std::string& temporary)>& publish) {
    const std::string temporary = TemporaryName(name);
    const UniqueFd file = OpenTemporary(folder, temporary);
    try {
        WriteAndFlush(file.Get(), bytes);
        publish(file.Get(), temporary);
    } catch (const Error&) {
        unlinkat(folder, temporary.c_str(), 0);
        throw;
    }
}

} // namespace

void WriteWholeFile(int folder, const std::string& name, std::span<const uint8_t> bytes,
                    std::optional<mode_t> mode) {
    WriteThen(folder, name, bytes, [&](int file, const std::string& temporary) {
        if (mode && Uninterrupted([&] { return fchmod(file, *mode); }) != 0) {
            throw SystemError("set the mode");
        }
        if (Uninterrupted(
                [&] { return renameat(folder, temporary.c_str(), folder, name.c_str()); }) != 0) {
            throw SystemError("rename to " + name);
        }
    });
}

void WriteNewFile(int folder, const std::string& name, std::span<const uint8_t> bytes,
                  mode_t mode) {
    WriteThen(folder, name, bytes, [&](int file, const std::string& temporary) {
        if (Uninterrupted([&] { return fchmod(file, mode); }) != 0 ||
            Uninterrupted([&] { return fsync(file); }) != 0) {
            throw SystemError("set the mode");
        }
        if (!RenameToNewName(folder, temporary, name)) {
            throw SystemError("rename to " + name);
        }
    });
    if (Uninterrupted([&] { return fsync(folder); }) != 0) {
        throw SystemError("flush the folder");
    }
}

} // namespace recorder
