#include "platform/utility.h"

std::string GetBaseName(const std::string& path) {
    return path.substr(path.rfind('/') + 1); // npos + 1 is 0: the whole of it
}

std::string GetDirPath(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return {};
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}
