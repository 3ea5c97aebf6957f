// The tool's walk tells nobody how far it is, and it takes a folder that can't be read to its end
// for one that ended. The recorder looks over its shoulder: in the programs that link this, the
// tool's reading of folders (readdir64_r, which nothing else uses) goes through here.

#include "recorder/logging/recorderlog.h"
#include "recorder/run/taps.h"
#include "recorder/support/format.h"

#include <array>
#include <cstring>
#include <exception>
#include <string>

#include <dirent.h>
#include <unistd.h>

// Their names are the linker's.
extern "C" {
int ReadEntryOfSystem(DIR* dir, struct dirent64* entry,
                      struct dirent64** result) __asm__("__real_readdir64_r");
int ReadEntryOfTool(DIR* dir, struct dirent64* entry,
                    struct dirent64** result) __asm__("__wrap_readdir64_r");
}

namespace {

void LogUnreadable(DIR* dir, int error) noexcept {
    try {
        std::array<char, 4096> path{};
        const std::string link = recorder::Format("/proc/self/fd/%d", dirfd(dir));
        const ssize_t length = readlink(link.c_str(), path.data(), path.size());
        recorder::LogError("can't read folder " +
                           std::string(path.data(), length > 0 ? static_cast<size_t>(length) : 0) +
                           " to its end: " + std::strerror(error));
    } catch (const std::exception&) {
        // Out of memory: the walk goes on all the same.
    }
}

} // namespace

int ReadEntryOfTool(DIR* dir, struct dirent64* entry, struct dirent64** result) {
    const int error = ReadEntryOfSystem(dir, entry, result);
    if (error != 0) {
        LogUnreadable(dir, error);
    } else if (*result != nullptr && entry->d_type == DT_REG) {
        recorder::CountFile(dirfd(dir));
    }
    return error;
}
