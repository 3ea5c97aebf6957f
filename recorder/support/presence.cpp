#include "recorder/support/presence.h"

#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/uninterrupted.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

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

// Returns true if `part` exists. Its parent folder is known to exist. Throws Error if the answer
// could not be determined.
bool IsThere(const std::string& part) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return stat64(part.c_str(), &st); }) == 0) {
        return true;
    }
    if (errno != ENOENT) {
        throw SystemError("examine " + part);
    }
    if (Uninterrupted([&] { return lstat64(part.c_str(), &st); }) == 0) {
        throw Error(S_ISLNK(st.st_mode) ? "the link " + part + " leads nowhere"
                                        : part + " appeared during the check");
    }
    if (errno != ENOENT) {
        throw SystemError("examine " + part);
    }
    return false;
}

} // namespace

Presence FolderPresence(const std::string& path) {
    return PresenceOf(path, S_IFDIR);
}

Presence FilePresence(const std::string& path) {
    return PresenceOf(path, S_IFREG);
}

std::string ExistingPart(const std::string& path) {
    std::string existing = path.starts_with('/') ? "/" : "";
    for (std::size_t end = 0; end != std::string::npos;) {
        end = path.find('/', end + 1);
        std::string part = path.substr(0, end);
        if (!IsThere(part)) {
            break;
        }
        existing = std::move(part);
    }
    return existing;
}

std::string ResolvedPath(const std::string& path) {
    const std::string existing = ExistingPart(path);
    std::error_code error;
    const std::filesystem::path resolved =
        std::filesystem::canonical(existing.empty() ? "/" : existing, error);
    if (error) {
        throw Error("can't resolve " + path + ": " + error.message());
    }
    const std::string rest = path.substr(existing.size());
    std::string whole = (resolved.string() + "/" + rest);
    whole = std::filesystem::path(whole).lexically_normal().string();
    return WithoutTrailingSlashes(std::move(whole));
}

void RequireFolder(const std::string& path) {
    if (!path.starts_with('/')) {
        throw Error(path + ": expected an absolute path");
    }
    const Presence presence = FolderPresence(path);
    if (presence == Presence::Unknown) {
        throw SystemError("examine the folder " + path);
    }
    if (presence == Presence::No) {
        throw Error(path + ": expected a folder that exists");
    }
}

} // namespace recorder
