#include "recorder/support/trust.h"

#include "platform/utility.h"
#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/utility/format.h"

#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

void DemandTrusted(const struct stat64& st, const std::string& path) {
    const uid_t self = geteuid();
    if (st.st_uid != 0 && st.st_uid != self) {
        throw Error(Format("%s belongs to user %u; expected root or the user of this process, %u",
                           path.c_str(), st.st_uid, self));
    }
    if ((st.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        throw Error(Format("%s may be written by its group or by others (mode %04o); expected its "
                           "owner alone",
                           path.c_str(), st.st_mode & 07777U));
    }
}

// Whether `path` was looked at. What isn't there, or is out of reach, can't be opened either; that
// failure speaks for itself. What can't be told for another reason is not trusted.
template <typename Look> bool IsInReach(const std::string& path, const Look& look) {
    if (Uninterrupted(look) == 0) {
        return true;
    }
    if (errno != ENOENT && errno != ENOTDIR && errno != EACCES) {
        throw SystemError("look at " + path);
    }
    return false;
}

} // namespace

void DemandTrusted(const UniqueFd& file, const std::string& path) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return fstat64(file.Get(), &st); }) != 0) {
        throw SystemError("look at " + path);
    }
    DemandTrusted(st, path);
}

void DemandTrustedFolderOf(const std::string& path) {
    const std::string folder = GetDirPath(path);
    struct stat64 st = {};
    if (IsInReach(folder, [&] { return stat64(folder.c_str(), &st); })) {
        DemandTrusted(st, "folder " + folder);
    }
}

void DemandTrustedUnlinked(const std::string& path) {
    struct stat64 st = {};
    if (!IsInReach(path, [&] { return lstat64(path.c_str(), &st); })) {
        return;
    }
    if (!S_ISREG(st.st_mode)) {
        throw Error(path + " is " + (S_ISLNK(st.st_mode) ? "a symbolic link" : "no regular file") +
                    "; expected a regular file");
    }
    DemandTrusted(st, path);
}

} // namespace recorder
