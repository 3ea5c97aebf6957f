// The minimal walk of a re-index: the entries of each folder, the status of each file.

#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include <dirent.h>
#include <sys/stat.h>

namespace floors {

// Calls visit(path, name, type) for each entry of a folder, in its order. Skips names that begin
// with
// "." or "@".
template <typename Visit> void VisitEntries(const std::string& folder, const Visit& visit) {
    const std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(folder.c_str()), closedir);
    if (!dir) {
        throw std::runtime_error("can't open " + folder);
    }
    std::string path = folder + "/";
    const std::size_t prefix = path.size();
    while (const struct dirent64* const entry = readdir64(dir.get())) {
        const char* const name = entry->d_name;
        if (name[0] != '.' && name[0] != '@') {
            path.replace(prefix, std::string::npos, name);
            visit(path, name, entry->d_type);
        }
    }
}

// Calls visit(path, name) for each file in a folder and in its subfolders, after reading its
// status.
template <typename Visit> void WalkFolder(const std::string& folder, const Visit& visit) {
    struct stat64 st = {};
    VisitEntries(folder, [&](const std::string& path, const char* name, unsigned char type) {
        if (type == DT_DIR) {
            WalkFolder(path, visit);
        } else if (type == DT_REG && stat64(path.c_str(), &st) == 0) {
            visit(path, name);
        }
    });
}

} // namespace floors
