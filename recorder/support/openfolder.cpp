#include "recorder/support/openfolder.h"

#include "recorder/support/presence.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

std::vector<std::string>& StorageFolders() {
    static std::vector<std::string> folders;
    return folders;
}

bool IsBelow(const std::string& path, const std::string& folder) {
    const std::string prefix = folder.ends_with('/') ? folder : folder + "/";
    return path.size() > prefix.size() && path.starts_with(prefix);
}

// The storage folder that contains `path`; empty if there is none.
std::string StorageFolderAbove(const std::string& path) {
    const std::vector<std::string>& folders = StorageFolders();
    const auto found = std::find_if(folders.begin(), folders.end(), [&](const std::string& folder) {
        return IsBelow(path, folder);
    });
    return found == folders.end() ? std::string() : *found;
}

int FlagsFor(FolderUse use) {
    return (use == FolderUse::List ? O_RDONLY : O_PATH) | O_DIRECTORY | O_CLOEXEC;
}

// Opens a path that the operator chose, following links. Not open if nothing exists there.
UniqueFd OpenFollowing(const std::string& path, FolderUse use) {
    UniqueFd folder(Uninterrupted([&] { return open(path.c_str(), FlagsFor(use)); }));
    if (folder.IsOpen()) {
        return folder;
    }
    if (errno != ENOENT) {
        throw SystemError("open folder " + path);
    }
    if (ExistingPart(path) == path) {
        throw Error("can't open folder " + path + ": it appeared during the check");
    }
    return folder;
}

} // namespace

void ProtectStorageFolder(const std::string& folder) {
    std::vector<std::string>& folders = StorageFolders();
    if (std::find(folders.begin(), folders.end(), folder) == folders.end()) {
        folders.push_back(folder);
    }
}

UniqueFd OpenFolder(const std::string& path, FolderUse use) {
    const std::string storage = StorageFolderAbove(path);
    if (storage.empty()) {
        return OpenFollowing(path, use);
    }
    UniqueFd folder = OpenFollowing(storage, FolderUse::Enter);
    for (std::size_t begin = storage.size(); folder.IsOpen() && begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const bool isLast = end == path.size();
        const std::string name = end == begin ? "." : path.substr(begin, end - begin);
        folder = OpenSubFolder(folder, name, path.substr(0, end), isLast ? use : FolderUse::Enter);
        begin = isLast ? end : end + 1;
    }
    return folder;
}

UniqueFd OpenSubFolder(const UniqueFd& folder, const std::string& name, const std::string& path,
                       FolderUse use) {
    UniqueFd subFolder(Uninterrupted(
        [&] { return openat(folder.Get(), name.c_str(), FlagsFor(use) | O_NOFOLLOW); }));
    if (subFolder.IsOpen() || errno == ENOENT) {
        return subFolder;
    }
    const Error error = SystemError("open folder " + path);
    struct stat64 st = {};
    if (Uninterrupted(
            [&] { return fstatat64(folder.Get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW); }) == 0 &&
        S_ISLNK(st.st_mode)) {
        throw LinkInPath("can't open folder " + path +
                         ": it is a symbolic link, and none is followed there");
    }
    throw error;
}

} // namespace recorder
