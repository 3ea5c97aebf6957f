#include "platform/utility.h"
#include "recorder/support/presence.h"

#include <cstring>

std::string GetBaseName(const std::string& path) {
    // Faster than rfind, which compares byte by byte. Called for each row.
    const void* const slash = memrchr(path.data(), '/', path.size());
    return slash == nullptr ? path : static_cast<const char*>(slash) + 1;
}

std::string GetDirPath(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return {};
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool IsExistDir(const std::string& path) {
    return recorder::FolderPresence(path) != recorder::Presence::No;
}

bool IsFileExist(const std::string& path) {
    return recorder::FilePresence(path) != recorder::Presence::No;
}
