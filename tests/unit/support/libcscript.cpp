#include "tests/unit/support/libcscript.h"

#include "tests/fakes/scriptedplatform.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace unit {

namespace {

// An open folder, and how many of its entries were delivered.
struct OpenDir {
    std::string path;
    std::size_t delivered = 0;
};

std::map<DIR*, OpenDir>& OpenDirs() {
    static std::map<DIR*, OpenDir> openDirs;
    return openDirs;
}

std::array<int, 2>& PipeEnds() {
    static std::array<int, 2> ends = {-1, -1};
    return ends;
}

std::string RealPath(const std::string& path) {
    const auto& [from, to] = Libc().redirection;
    return !from.empty() && path.starts_with(from) ? to + path.substr(from.size()) : path;
}

int ErrorOf(const std::map<std::string, int>& errors, const std::string& path) {
    const auto found = errors.find(path);
    return found == errors.end() ? 0 : found->second;
}

void Note(const std::string& call) {
    if (Libc().recordProcessCalls) {
        fakes::Platform().Note(call);
    }
}

int Failed(int error) {
    errno = error;
    return -1;
}

// "readEnd" or "writeEnd" for the ends of the pipe; empty for any other descriptor.
std::string NameOfEnd(int fd) {
    if (fd != -1 && fd == PipeEnds()[0]) {
        return "readEnd";
    }
    return fd != -1 && fd == PipeEnds()[1] ? "writeEnd" : "";
}

int DeliverListed(const std::vector<ListedEntry>& listing, OpenDir& dir, dirent64* buffer,
                  dirent64** entry) {
    *entry = nullptr;
    if (dir.delivered < listing.size()) {
        const auto& [name, type] = listing[dir.delivered++];
        *buffer = {};
        buffer->d_type = type;
        name.copy(static_cast<char*>(buffer->d_name), sizeof buffer->d_name - 1);
        *entry = buffer;
    }
    return 0;
}

} // namespace

LibcScript& Libc() {
    static LibcScript script;
    return script;
}

void ResetLibc() {
    Libc() = LibcScript();
    OpenDirs().clear();
    PipeEnds() = {-1, -1};
}

} // namespace unit

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's --wrap fixes these names
extern "C" {

time_t __real_time(time_t* result);
time_t __wrap_time(time_t* result);
int __real_clock_gettime(clockid_t clock, timespec* result);
int __wrap_clock_gettime(clockid_t clock, timespec* result);
int __real_pipe(int* ends);
int __wrap_pipe(int* ends);
pid_t __real_fork();
pid_t __wrap_fork();
int __real_close(int fd);
int __wrap_close(int fd);
ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __wrap_read(int fd, void* buffer, size_t size);
[[noreturn]] void __real__exit(int status);
[[noreturn]] void __wrap__exit(int status);
DIR* __real_opendir(const char* path);
DIR* __wrap_opendir(const char* path);
int __real_closedir(DIR* dir);
int __wrap_closedir(DIR* dir);
int __real_readdir64_r(DIR* dir, dirent64* buffer, dirent64** entry);
int __wrap_readdir64_r(DIR* dir, dirent64* buffer, dirent64** entry);
int __real_stat64(const char* path, struct stat64* st);
int __wrap_stat64(const char* path, struct stat64* st);
int __real_lstat64(const char* path, struct stat64* st);
int __wrap_lstat64(const char* path, struct stat64* st);
int __real_fstatat64(int folder, const char* path, struct stat64* st, int flags);
int __wrap_fstatat64(int folder, const char* path, struct stat64* st, int flags);
int __real_getopt(int argc, char* const* argv, const char* options);
int __wrap_getopt(int argc, char* const* argv, const char* options);

time_t __wrap_time(time_t* result) {
    return unit::Libc().now ? *unit::Libc().now : __real_time(result);
}

int __wrap_clock_gettime(clockid_t clock, timespec* result) {
    const unit::LibcScript& script = unit::Libc();
    if (script.clockError != 0) {
        return unit::Failed(script.clockError);
    }
    if (clock == CLOCK_REALTIME && script.clock) {
        *result = *script.clock;
        return 0;
    }
    return __real_clock_gettime(clock, result);
}

int __wrap_pipe(int* ends) {
    unit::Note("pipe()");
    if (unit::Libc().pipeError != 0) {
        return unit::Failed(unit::Libc().pipeError);
    }
    const int result = __real_pipe(ends);
    unit::PipeEnds() = {ends[0], ends[1]};
    return result;
}

pid_t __wrap_fork() {
    unit::Note("fork()");
    if (unit::Libc().forkError != 0) {
        return unit::Failed(unit::Libc().forkError);
    }
    const pid_t child = __real_fork();
    unit::Libc().child = child;
    return child;
}

int __wrap_close(int fd) {
    const std::string end = unit::NameOfEnd(fd);
    if (!end.empty()) {
        unit::Note("close(" + end + ")");
        unit::PipeEnds()[end == "readEnd" ? 0 : 1] = -1; // another file may get this descriptor
    }
    return __real_close(fd);
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    const std::string end = unit::NameOfEnd(fd);
    if (!end.empty()) {
        unit::Note("read(" + end + ", " + std::to_string(size) + ")");
        if (unit::Libc().beforeRead) {
            unit::Libc().beforeRead();
        }
        if (const auto scripted = std::exchange(unit::Libc().nextRead, std::nullopt)) {
            errno = scripted->second;
            return scripted->first;
        }
    }
    return __real_read(fd, buffer, size);
}

void __wrap__exit(int status) {
    unit::Note("_exit(" + std::to_string(status) + ")");
    __real__exit(status);
}

DIR* __wrap_opendir(const char* path) {
    const int error = unit::ErrorOf(unit::Libc().opendirErrors, path);
    if (error != 0) {
        errno = error;
        return nullptr;
    }
    DIR* dir = __real_opendir(unit::RealPath(path).c_str());
    if (dir != nullptr) {
        unit::OpenDirs()[dir] = {path};
        ++unit::Libc().openDirCnt;
    }
    return dir;
}

int __wrap_closedir(DIR* dir) {
    unit::Libc().openDirCnt -= unit::OpenDirs().erase(dir) != 0 ? 1 : 0;
    return __real_closedir(dir);
}

int __wrap_readdir64_r(DIR* dir, dirent64* buffer, dirent64** entry) {
    const unit::LibcScript& script = unit::Libc();
    unit::OpenDir& open = unit::OpenDirs()[dir];
    const auto limit = script.readErrorAfter.find(open.path);
    if (limit != script.readErrorAfter.end() &&
        open.delivered >= static_cast<std::size_t>(limit->second)) {
        // The error is returned together with an entry, which the caller must ignore. If the caller
        // continues to read, the folder has ended.
        const bool first = open.delivered++ == static_cast<std::size_t>(limit->second);
        *entry = first ? buffer : nullptr;
        return first ? EIO : 0;
    }
    const auto listing = script.listings.find(open.path);
    if (listing != script.listings.end()) {
        return unit::DeliverListed(listing->second, open, buffer, entry);
    }
    ++open.delivered;
    return __real_readdir64_r(dir, buffer, entry);
}

int __wrap_stat64(const char* path, struct stat64* st) {
    unit::LibcScript& script = unit::Libc();
    script.statCalls.emplace_back(path);
    const int error = unit::ErrorOf(script.statErrors, path);
    if (error != 0) {
        return unit::Failed(error);
    }
    const auto scripted = script.statuses.find(path);
    if (scripted != script.statuses.end()) {
        *st = scripted->second;
        return 0;
    }
    return __real_stat64(unit::RealPath(path).c_str(), st);
}

int __wrap_lstat64(const char* path, struct stat64* st) {
    unit::Libc().statCalls.emplace_back(path);
    return __real_lstat64(unit::RealPath(path).c_str(), st);
}

int __wrap_fstatat64(int folder, const char* path, struct stat64* st, int flags) {
    unit::Libc().statCalls.emplace_back(path);
    return __real_fstatat64(folder, path, st, flags);
}

int __wrap_getopt(int argc, char* const* argv, const char* options) {
    if (unit::Libc().beforeGetopt) {
        unit::Libc().beforeGetopt();
    }
    return __real_getopt(argc, argv, options);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
