#include "recorder/utility/presence.h"

#include "platform/utility.h"
#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <cerrno>

#include <sys/stat.h>

namespace recorder {

namespace {

Presence PresenceOf(const std::string& path, mode_t kind) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return stat64(path.c_str(), &st); }) == 0) {
        return (st.st_mode & S_IFMT) == kind ? Presence::Yes : Presence::No;
    }
    return errno == ENOENT || errno == ENOTDIR ? Presence::No : Presence::Unknown;
}

} // namespace

Presence FolderPresence(const std::string& path) {
    return PresenceOf(path, S_IFDIR);
}

Presence FilePresence(const std::string& path) {
    return PresenceOf(path, S_IFREG);
}

void DemandFolder(const std::string& path) {
    if (!path.starts_with('/')) {
        throw Error(path + ": expected an absolute path");
    }
    const Presence presence = FolderPresence(path);
    if (presence == Presence::Unknown) {
        throw SystemError("look at the folder " + path);
    }
    if (presence == Presence::No) {
        throw Error(path + ": expected a folder that exists");
    }
}

} // namespace recorder

bool IsExistDir(const std::string& path) {
    return recorder::FolderPresence(path) != recorder::Presence::No;
}

bool IsFileExist(const std::string& path) {
    return recorder::FilePresence(path) != recorder::Presence::No;
}
