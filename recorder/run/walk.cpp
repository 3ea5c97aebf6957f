// The tool's walk does not report its progress, and it treats a folder that can't be read to its
// end as one that ended. In the programs that link this file, the calls of these functions come
// here: the recorder counts the files, logs the failures that the tool doesn't see, learns the
// paths and reasons of those that the tool logs, and works ahead of the walk.

#include "recorder/ahead/ahead.h"
#include "recorder/logging/recorderlog.h"
#include "recorder/run/taps.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <string>

#include <dirent.h>
#include <sys/stat.h>

// The linker's option --wrap gives these functions their names.
extern "C" {
DIR* OpenFolderOfSystem(const char* path) __asm__("__real_opendir");
DIR* OpenFolderOfTool(const char* path) __asm__("__wrap_opendir");
int ReadEntryOfSystem(DIR* dir, struct dirent64* entry,
                      struct dirent64** result) __asm__("__real_readdir64_r");
int ReadEntryOfTool(DIR* dir, struct dirent64* entry,
                    struct dirent64** result) __asm__("__wrap_readdir64_r");
int StatusOfSystem(const char* path, struct stat64* status) __asm__("__real_stat64");
int StatusOfTool(const char* path, struct stat64* status) __asm__("__wrap_stat64");
}

namespace {

// The folder that the tool walks.
struct Walk {
    std::string folder;
    // A file's name was read, and the next call of stat64 is the tool's for this file. Later calls
    // until the next name are the recorder's.
    bool isFileNext = false;
};

Walk& ThisWalk() {
    static Walk walk;
    return walk;
}

// Runs `function` for a call of the tool, which reads errno afterwards. The walk continues when the
// memory does not suffice.
template <typename Function> void Observe(const Function& function) noexcept {
    const int error = errno;
    try {
        function();
    } catch (const std::exception&) {
        // Only the path and the reason are missing then: the tool logs the failure.
    }
    errno = error;
}

void LogUnreadable(const std::string& folder, int error) {
    recorder::LogError("can't read folder " + folder + " to its end: " + std::strerror(error));
    recorder::NoteUnreadable(folder, std::strerror(error), recorder::Unreadable::InWalk);
}

void NoteFailure(const char* path, int error) {
    recorder::NoteUnreadable(path, std::strerror(error), recorder::Unreadable::InWalk);
}

} // namespace

DIR* OpenFolderOfTool(const char* path) {
    DIR* const dir = OpenFolderOfSystem(path);
    Observe([&] {
        if (dir == nullptr) {
            NoteFailure(path, errno);
        } else {
            ThisWalk() = {.folder = path};
        }
    });
    return dir;
}

int ReadEntryOfTool(DIR* dir, struct dirent64* entry, struct dirent64** result) {
    const int error = ReadEntryOfSystem(dir, entry, result);
    Walk& walk = ThisWalk();
    walk.isFileNext = error == 0 && *result != nullptr && entry->d_type == DT_REG;
    if (walk.isFileNext) {
        recorder::CountFile(dirfd(dir));
        recorder::AheadReachesFile(dirfd(dir));
    } else if (error != 0) {
        recorder::AheadLeavesFolder();
        Observe([&] { LogUnreadable(walk.folder, error); });
    } else if (*result == nullptr) {
        recorder::AheadLeavesFolder();
        Observe([&] { recorder::NoteListed(walk.folder); });
    }
    return error;
}

int StatusOfTool(const char* path, struct stat64* status) {
    const int result = StatusOfSystem(path, status);
    if (ThisWalk().isFileNext) {
        ThisWalk().isFileNext = false;
        if (result != 0 && errno != ENOENT) { // a file that is gone is no failure
            Observe([&] { NoteFailure(path, errno); });
        }
    }
    return result;
}
