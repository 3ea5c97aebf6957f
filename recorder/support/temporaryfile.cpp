#include "recorder/support/temporaryfile.h"

#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr mode_t kFileMode = 0640;
constexpr std::string_view kPrefix = ".kestora-";
constexpr std::string_view kSuffix = ".tmp";
constexpr int kAttempts = 10;

// A thumbnail folder can have a hundred thousand files, each written separately. A large folder is
// therefore listed once in many writes, a small one at every write.
constexpr std::size_t kEntriesPerWrite = 64;

struct CloseDir {
    void operator()(DIR* dir) const { closedir(dir); }
};

std::string RandomName() {
    uint64_t number = 0;
    // getrandom returns so few bytes completely and uninterrupted, or fails.
    if (getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number)) {
        throw SystemError("get random bytes");
    }
    return std::string(kPrefix) + std::to_string(number) + std::string(kSuffix);
}

bool IsTemporaryName(std::string_view name) {
    return name.starts_with(kPrefix) && name.ends_with(kSuffix);
}

// Returns true if `name` is the open file.
bool IsNamed(int folder, const std::string& name, int file) {
    struct stat64 named = {};
    struct stat64 open = {};
    return Uninterrupted(
               [&] { return fstatat64(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW); }) == 0 &&
           Uninterrupted([&] { return fstat64(file, &open); }) == 0 &&
           named.st_dev == open.st_dev && named.st_ino == open.st_ino;
}

bool IsOwnFile(const struct stat64& st) {
    return S_ISREG(st.st_mode) && st.st_uid == geteuid();
}

bool TryLock(int file) {
    return Uninterrupted([&] { return flock(file, LOCK_EX | LOCK_NB); }) == 0;
}

void RemoveIfLeft(int folder, const std::string& name) {
    struct stat64 st = {};
    if (fstatat64(folder, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0 || !IsOwnFile(st)) {
        return;
    }
    // O_NONBLOCK, because a FIFO may have replaced the file.
    const UniqueFd file(Uninterrupted([&] {
        return openat(folder, name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    }));
    if (file.IsOpen() && fstat64(file.Get(), &st) == 0 && IsOwnFile(st) && TryLock(file.Get()) &&
        IsNamed(folder, name, file.Get())) {
        unlinkat(folder, name.c_str(), 0);
    }
}

// Returns the number of entries in the folder.
std::size_t RemoveAllLeft(int folder) {
    const int list =
        Uninterrupted([&] { return openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    const std::unique_ptr<DIR, CloseDir> dir(list < 0 ? nullptr : fdopendir(list));
    if (!dir) {
        UniqueFd unlisted(list);
        return 0;
    }
    std::size_t entries = 0;
    while (const struct dirent64* const entry = readdir64(dir.get())) {
        ++entries;
        if (IsTemporaryName(entry->d_name)) {
            RemoveIfLeft(folder, entry->d_name);
        }
    }
    return entries;
}

} // namespace

TemporaryFile::TemporaryFile(int folder) : m_folder(folder) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        Make();
        if (IsLocked()) {
            return;
        }
        unlinkat(m_folder, m_name.c_str(), 0);
    }
    throw SystemError("lock a temporary file");
}

TemporaryFile::~TemporaryFile() {
    if (!m_isKept) {
        unlinkat(m_folder, m_name.c_str(), 0);
    }
}

void TemporaryFile::Make() {
    m_name = RandomName();
    m_file = UniqueFd(Uninterrupted([&] {
        return openat(m_folder, m_name.c_str(),
                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode);
    }));
    if (!m_file.IsOpen()) {
        throw SystemError("create a temporary file");
    }
}

// Between creation and lock, another writer may treat the file as left over and remove it.
bool TemporaryFile::IsLocked() const {
    return TryLock(m_file.Get()) && IsNamed(m_folder, m_name, m_file.Get());
}

void RemoveLeftTemporaries(int folder) {
    (void)RemoveAllLeft(folder);
}

void RemoveLeftTemporariesNowAndThen(int folder) {
    static std::map<std::pair<dev_t, ino_t>, std::size_t> writesUntilListing;
    struct stat64 st = {};
    if (fstat64(folder, &st) != 0) {
        return;
    }
    std::size_t& writes = writesUntilListing[{st.st_dev, st.st_ino}];
    if (writes == 0) {
        writes = RemoveAllLeft(folder) / kEntriesPerWrite;
    } else {
        --writes;
    }
}

} // namespace recorder
