// The tool's walk does not report its progress, and it treats a folder that can't be read to its
// end as one that ended. In the programs that link this file, the tool's calls of readdir64_r,
// which no other code uses, come here: the recorder counts the files and logs the failures.

#include "recorder/logging/recorderlog.h"
#include "recorder/run/taps.h"
#include "recorder/support/format.h"

#include <array>
#include <cstring>
#include <exception>
#include <string>

#include <dirent.h>
#include <unistd.h>

// The linker's option --wrap gives these functions their names.
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
        const std::string folder(path.data(), length > 0 ? static_cast<size_t>(length) : 0);
        recorder::LogError("can't read folder " + folder + " to its end: " + std::strerror(error));
        recorder::NoteUnreadable(folder, std::strerror(error), true);
    } catch (const std::exception&) {
        // Out of memory: the walk continues nevertheless.
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
