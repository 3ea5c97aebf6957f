#include "recorder/utility/folder.h"

#include "platform/utility.h"
#include "recorder/support/edge.h"
#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/utility/openfolder.h"
#include "recorder/utility/presence.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <tuple>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

struct CloseDir {
    void operator()(DIR* dir) const { closedir(dir); }
};

// As in a folder's entry. Not every file system says it there. DT_UNKNOWN: the entry is gone by
// now.
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
        throw SystemError("look at " + path + "/" + entry.d_name);
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
            return FolderEntry{entry->d_name, type == DT_DIR, type == DT_REG || type == DT_UNKNOWN};
        }
    }
}

struct FolderSearch {
    bool fullPath;
    bool recursive;
    std::optional<KRRegEx> pattern; // nothing: every name
};

// False when `dir` is truly absent.
bool CollectFolders(const std::string& dir, const FolderSearch& search,
                    std::vector<std::string>& found) {
    std::vector<std::string> subFolders;
    const FolderListing listing = ListFolder(dir, [&](const FolderEntry& entry) {
        if (entry.isFolder) {
            subFolders.push_back(entry.name);
        }
        return true;
    });
    if (listing == FolderListing::Absent) {
        return false;
    }
    std::sort(subFolders.begin(), subFolders.end());
    for (const std::string& name : subFolders) {
        const std::string path = dir + "/" + name;
        if (!search.pattern || search.pattern->IsMatch(name)) {
            found.push_back(search.fullPath ? path : name);
        }
        if (search.recursive && !CollectFolders(path, search, found)) {
            throw Error("can't list folder " + path + ": it went away");
        }
    }
    return true;
}

// The same, and false also where something that is no folder, or a link that leads nowhere, is in
// the place of `dir` or above it. A link that is not followed is worth a line of the log.
bool CollectFoldersIfThere(const std::string& dir, const FolderSearch& search,
                           std::vector<std::string>& found) {
    try {
        return CollectFolders(dir, search, found);
    } catch (const LinkInPath&) {
        throw;
    } catch (const Error&) {
        if (FolderPresence(dir) != Presence::No) {
            throw;
        }
        return false;
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
    std::ignore = folder.Release(); // it is closed with the handle
    while (const std::optional<FolderEntry> entry = ReadEntry(handle.get(), dir)) {
        if (!visit(*entry)) {
            return FolderListing::Stopped;
        }
    }
    return FolderListing::Complete;
}

} // namespace recorder

bool IsDirEmpty(const std::string& path) {
    return recorder::AtEdge(false, [&] {
        return recorder::ListFolder(path, [](const recorder::FolderEntry&) { return false; }) ==
               recorder::FolderListing::Complete;
    });
}

int GetDirsInDir(const std::string& dir, std::list<std::string>& out, bool fullPath, bool recursive,
                 std::string pattern) {
    return recorder::AtEdge(-1, [&] {
        recorder::FolderSearch search{fullPath, recursive, std::nullopt};
        if (!pattern.empty()) {
            search.pattern.emplace(pattern);
        }
        std::vector<std::string> found;
        if (!recorder::CollectFoldersIfThere(dir, search, found)) {
            return -1;
        }
        out.insert(out.end(), found.begin(), found.end());
        return 0;
    });
}
