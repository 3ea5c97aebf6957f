#include "recorder/support/privacy.h"

#include "recorder/support/error.h"
#include "recorder/support/folder.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

constexpr mode_t kAllModeBits = 07777;
constexpr mode_t kNotForOthers = 027;

// The mode of the file; 0 for a link, and if stat failed.
mode_t ModeOf(const std::string& path) {
    struct stat64 st = {};
    return lstat64(path.c_str(), &st) == 0 && !S_ISLNK(st.st_mode) ? st.st_mode : 0;
}

} // namespace

bool IsOpenToOthers(const std::string& path) {
    return (ModeOf(path) & S_IRWXO) != 0;
}

std::vector<std::string> OpenToOthersIn(const std::string& folder) {
    std::vector<std::string> open;
    ListFolder(folder, [&](const FolderEntry& entry) {
        const std::string path = folder + "/" + entry.name;
        if (entry.isRegularFile && IsOpenToOthers(path)) {
            open.push_back(path);
        }
        return true;
    });
    std::sort(open.begin(), open.end());
    if (IsOpenToOthers(folder)) {
        open.insert(open.begin(), folder);
    }
    return open;
}

std::vector<std::string> CloseToOthers(const std::string& folder) {
    std::vector<std::string> open = OpenToOthersIn(folder);
    for (const std::string& path : open) {
        const mode_t before = ModeOf(path);
        if (before == 0) {
            continue; // removed in the meantime, like a journal when its database is closed
        }
        const mode_t mode = before & kAllModeBits & ~static_cast<mode_t>(S_IRWXO);
        // Does not follow a link that may have replaced the file.
        if (fchmodat(AT_FDCWD, path.c_str(), mode, AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT) {
            throw SystemError("close " + path + " to others");
        }
    }
    return open;
}

mode_t TightenUmask() noexcept {
    const mode_t callers = umask(kNotForOthers); // the umask can't be read without setting it
    umask(callers | kNotForOthers);
    return callers;
}

} // namespace recorder
