// floor_walk DATABASE SELECT FOLDER...: the least that finding nothing to do can cost. One SELECT
// of id and path into a hash map by file name, then each folder's entries and the status of each.

#include "recorder/database/sqlite.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <span>
#include <string>
#include <unordered_map>

#include <dirent.h>
#include <sys/stat.h>

namespace {

using FileIds = std::unordered_map<std::string, int>;

FileIds LoadRows(const char* database, const char* select) {
    constexpr int kLockTimeoutMs = 1000;
    const DBResult_tag rows =
        recorder::SqliteDatabase::Open(database, kLockTimeoutMs).Execute(select);
    FileIds ids;
    for (int row = 0; row < rows.RowCount(); ++row) {
        const char* const path = rows.Field(row, 1);
        const char* const slash = std::strrchr(path, '/');
        ids.try_emplace(slash == nullptr ? path : slash + 1,
                        static_cast<int>(std::strtol(rows.Field(row, 0), nullptr, 10)));
    }
    return ids;
}

void WalkFolder(const char* folder, FileIds& ids) {
    DIR* const dir = opendir(folder);
    if (dir == nullptr) {
        std::perror(folder);
        return;
    }
    std::string path(folder);
    path += '/';
    const std::size_t prefix = path.size();
    while (const struct dirent64* const entry = readdir64(dir)) {
        struct stat64 st = {};
        path.replace(prefix, std::string::npos, entry->d_name);
        if (entry->d_type == DT_REG && stat64(path.c_str(), &st) == 0) {
            ids.erase(entry->d_name);
        }
    }
    closedir(dir);
}

} // namespace

int main(int argc, char** argv) {
    const std::span args(argv, static_cast<std::size_t>(argc));
    if (args.size() < 3) {
        std::fprintf(stderr, "usage: floor_walk DATABASE SELECT FOLDER...\n");
        return 64;
    }
    try {
        FileIds ids = LoadRows(args[1], args[2]);
        const std::size_t rows = ids.size();
        for (const char* const folder : args.subspan(3)) {
            WalkFolder(folder, ids);
        }
        std::printf("%zu rows, %zu without a file\n", rows, ids.size());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "floor_walk: %s\n", error.what());
        return 1;
    }
}
