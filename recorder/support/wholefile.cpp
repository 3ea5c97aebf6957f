#include "recorder/support/wholefile.h"

#include "recorder/support/error.h"
#include "recorder/support/temporaryfile.h"
#include "recorder/support/uninterrupted.h"

#include <cstdio>
#include <functional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

// Renames, or fails with EEXIST if the new name exists.
bool RenameToNewName(int folder, const std::string& from, const std::string& to) {
    if (Uninterrupted([&] {
            return renameat2(folder, from.c_str(), folder, to.c_str(), RENAME_NOREPLACE);
        }) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return false;
    }
    // The file system does not support RENAME_NOREPLACE. Without hard links too, this fails.
    if (Uninterrupted([&] { return linkat(folder, from.c_str(), folder, to.c_str(), 0); }) != 0) {
        return false;
    }
    unlinkat(folder, from.c_str(), 0);
    return true;
}

// Writes a temporary file and lets `publish` give it its name.
void WriteThen(int folder, std::span<const uint8_t> bytes,
               const std::function<void(const TemporaryFile& temporary)>& publish) {
    RemoveLeftTemporariesNowAndThen(folder);
    TemporaryFile temporary(folder);
    WriteAndFlush(temporary.Fd(), bytes);
    publish(temporary);
    temporary.Keep();
}

// Uses the descriptor, because the folder's owner could have replaced the file under its name. On a
// file system without owners the file stays unchanged.
void LeaveToOwnerOf(int folder, int file) {
    struct stat64 st = {};
    if (geteuid() != 0 || fstat64(folder, &st) != 0 || fchown(file, st.st_uid, st.st_gid) != 0) {
        return;
    }
}

} // namespace

void WriteAndFlush(int file, std::span<const uint8_t> bytes) {
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

void WriteWholeFile(int folder, const std::string& name, std::span<const uint8_t> bytes,
                    std::optional<mode_t> mode) {
    WriteThen(folder, bytes, [&](const TemporaryFile& temporary) {
        if (mode && Uninterrupted([&] { return fchmod(temporary.Fd(), *mode); }) != 0) {
            throw SystemError("set the mode");
        }
        if (Uninterrupted([&] {
                return renameat(folder, temporary.Name().c_str(), folder, name.c_str());
            }) != 0) {
            throw SystemError("rename to " + name);
        }
    });
}

void WriteNewFile(int folder, const std::string& name, std::span<const uint8_t> bytes, mode_t mode,
                  FileOwner owner) {
    WriteThen(folder, bytes, [&](const TemporaryFile& temporary) {
        if (owner == FileOwner::OfFolder) {
            LeaveToOwnerOf(folder, temporary.Fd());
        }
        if (Uninterrupted([&] { return fchmod(temporary.Fd(), mode); }) != 0 ||
            Uninterrupted([&] { return fsync(temporary.Fd()); }) != 0) {
            throw SystemError("set the mode");
        }
        if (!RenameToNewName(folder, temporary.Name(), name)) {
            throw SystemError("rename to " + name);
        }
    });
    if (Uninterrupted([&] { return fsync(folder); }) != 0) {
        throw SystemError("flush the folder");
    }
}

} // namespace recorder
