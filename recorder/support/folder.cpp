#include "recorder/support/folder.h"

#include "recorder/support/error.h"
#include "recorder/support/openfolder.h"
#include "recorder/support/uninterrupted.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <tuple>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

struct CloseDir {
    void operator()(DIR* dir) const { closedir(dir); }
};

// Returns the type as d_type has it, which not every file system fills in. DT_UNKNOWN: the entry
// has been removed in the meantime.
unsigned char TypeOf(DIR* dir, const struct dirent64& entry, const std::string& path) {
    struct stat64 st = {};
    if (entry.d_type != DT_UNKNOWN) {
        return entry.d_type;
    }
    if (Uninterrupted(
            [&] { return fstatat64(dirfd(dir), entry.d_name, &st, AT_SYMLINK_NOFOLLOW); }) == 0) {
        return static_cast<unsigned char>(IFTODT(st.st_mode));
    }
    if (errno != ENOENT) {
        throw SystemError("examine " + path + "/" + entry.d_name);
    }
    return DT_UNKNOWN;
}

bool IsDotEntry(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

// Reads the next entry but "." and ".."; nothing at the end of the folder.
std::optional<FolderEntry> ReadEntry(DIR* dir, const std::string& path) {
    for (;;) {
        errno = 0;
        const struct dirent64* const entry = readdir64(dir);
        if (entry == nullptr && errno != 0) {
            throw SystemError("read folder " + path);
        }
        if (entry == nullptr) {
            return std::nullopt;
        }
        if (!IsDotEntry(entry->d_name)) {
            const unsigned char type = TypeOf(dir, *entry, path);
            return FolderEntry{.name = entry->d_name,
                               .isFolder = type == DT_DIR,
                               .isRegularFile = type == DT_REG || type == DT_UNKNOWN,
                               .isLink = type == DT_LNK};
        }
    }
}

} // namespace

FolderListing ListFolder(const std::string& dir,
                         const std::function<bool(const FolderEntry&)>& visit) {
    UniqueFd folder = OpenFolder(dir, FolderUse::List);
    if (!folder.IsOpen()) {
        return FolderListing::Absent;
    }
    const std::unique_ptr<DIR, CloseDir> handle(fdopendir(folder.Get()));
    if (!handle) {
        throw SystemError("open folder " + dir);
    }
    std::ignore = folder.Release(); // `handle` closes it
    while (const std::optional<FolderEntry> entry = ReadEntry(handle.get(), dir)) {
        if (!visit(*entry)) {
            return FolderListing::Stopped;
        }
    }
    return FolderListing::Complete;
}

UniqueFd OpenFolderByPath(const std::string& path) {
    return UniqueFd(
        Uninterrupted([&] { return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
}

std::string WithoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.pop_back();
    }
    return path;
}

} // namespace recorder
