#include "recorder/support/trust.h"

#include "recorder/support/error.h"
#include "recorder/support/filetype.h"
#include "recorder/support/format.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <array>
#include <climits>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr int kMaxLinks = 40; // as the kernel
constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;

struct stat64 StatusOf(int file, const std::string& path) {
    struct stat64 st = {};
    if (Uninterrupted([&] { return fstat64(file, &st); }) != 0) {
        throw SystemError("examine " + path);
    }
    return st;
}

bool IsOwnerTrusted(const struct stat64& st) {
    return st.st_uid == 0 || st.st_uid == geteuid();
}

void RequireOwner(const struct stat64& st, const std::string& path) {
    if (!IsOwnerTrusted(st)) {
        throw Error(Format("%s belongs to user %u; expected root or the user of this process, %u",
                           path.c_str(), st.st_uid, geteuid()));
    }
}

void RequireClosed(const struct stat64& st, const std::string& path) {
    if ((st.st_mode & kOthersWrite) != 0) {
        throw Error(Format("%s may be written by its group or by others (mode %04o); expected its "
                           "owner alone",
                           path.c_str(), st.st_mode & 07777U));
    }
}

void RequireRegular(const struct stat64& st, const std::string& path) {
    if (!S_ISREG(st.st_mode)) {
        throw Error(path + " is " + FileTypeText(st.st_mode) + "; expected a regular file");
    }
}

enum class Outcome { There, Absent, OutOfReach };
enum class LastLink { Follow, Refuse };
enum class Expected { File, Folder };

// Resolves a path name by name, like the kernel, and checks every folder and link on the way.
class Walk {
public:
    Walk(const std::string& path, LastLink lastLink, Expected expected = Expected::File)
        : m_path(path), m_lastLink(lastLink), m_expected(expected),
          m_folder(Open(AT_FDCWD, "/", O_PATH)), m_root(StatusOf(m_folder.Get(), "/")),
          m_status(m_root) {
        Push(path, false);
    }

    // Throws Error if the file or folder, or a folder or link on the way, is not trusted.
    Outcome ToEnd() {
        while (!m_names.empty()) {
            const Name name = m_names.back();
            m_names.pop_back();
            UniqueFd entry = Open(m_folder.Get(), name.text.c_str(), O_PATH);
            if (!entry.IsOpen() && errno != ENOENT) {
                return Unreached(name.text);
            }
            if (!entry.IsOpen()) {
                RequireFolderFor(nullptr);
                return Missing(name);
            }
            const struct stat64 st = StatusOf(entry.Get(), Below(name.text));
            RequireFolderFor(&st);
            if (!Enter(std::move(entry), st, name)) {
                return Outcome::There;
            }
        }
        if (m_expected == Expected::File) {
            throw Error(m_path + " is a folder; expected a regular file");
        }
        RequireFolderFor(nullptr);
        return Outcome::There;
    }

    // Opens the file for reading. ToEnd must have returned There.
    [[nodiscard]] UniqueFd OpenFile() const {
        UniqueFd file = Open(m_folder.Get(), m_file.c_str(), O_RDONLY | O_NONBLOCK);
        if (!file.IsOpen()) {
            throw SystemError("open the file " + m_path);
        }
        const struct stat64 st = StatusOf(file.Get(), m_path);
        RequireRegular(st, m_path);
        return file;
    }

private:
    struct Name {
        std::string text;
        bool isOfLink; // part of a link's target
    };

    static UniqueFd Open(int folder, const char* name, int flags) {
        return UniqueFd(
            Uninterrupted([&] { return openat(folder, name, flags | O_NOFOLLOW | O_CLOEXEC); }));
    }

    void Push(std::string_view path, bool isOfLink) {
        std::vector<Name> names;
        for (std::size_t begin = 0; begin < path.size();) {
            const std::size_t end = std::min(path.find('/', begin), path.size());
            if (const std::string_view name = path.substr(begin, end - begin);
                !name.empty() && name != ".") {
                names.push_back({std::string(name), isOfLink});
            }
            begin = end + 1;
        }
        m_names.insert(m_names.end(), names.rbegin(), names.rend());
    }

    [[nodiscard]] std::string Below(const std::string& name) const {
        return (m_folderPath == "/" ? "" : m_folderPath) + "/" + name;
    }

    // `entry` is the status of the folder's entry on the way; null if it does not exist.
    void RequireFolderFor(const struct stat64* entry) const {
        const std::string name = "folder " + m_folderPath;
        if (m_status.st_uid != m_root.st_uid) {
            RequireOwner(m_status, name);
        }
        const bool isKept =
            entry != nullptr && (m_status.st_mode & S_ISVTX) != 0 &&
            (IsOwnerTrusted(*entry) || (S_ISDIR(entry->st_mode) && entry->st_uid == m_root.st_uid));
        if ((m_names.empty() && m_expected == Expected::File) || !isKept) {
            RequireClosed(m_status, name);
        }
    }

    // Returns false if the entry is the file.
    bool Enter(UniqueFd entry, const struct stat64& st, const Name& name) {
        const std::string path = Below(name.text);
        if (S_ISLNK(st.st_mode) && (!m_names.empty() || m_lastLink == LastLink::Follow)) {
            RequireOwner(st, "link " + path);
            Follow(entry, path);
            return true;
        }
        if (S_ISDIR(st.st_mode)) {
            m_folderPath = name.text == ".." ? Above() : path;
            m_folder = std::move(entry);
            m_status = st;
            return true;
        }
        if (!m_names.empty() || m_expected == Expected::Folder) {
            throw Error(path + " is " + FileTypeText(st.st_mode) + "; expected a folder");
        }
        RequireRegular(st, path == m_path ? path : path + ", to which " + m_path + " leads,");
        RequireOwner(st, m_path);
        RequireClosed(st, m_path);
        m_file = name.text;
        return false;
    }

    [[nodiscard]] std::string Above() const {
        const std::size_t slash = m_folderPath.rfind('/');
        return slash == 0 ? "/" : m_folderPath.substr(0, slash);
    }

    void Follow(const UniqueFd& link, const std::string& path) {
        std::array<char, PATH_MAX> target{};
        const ssize_t length =
            Uninterrupted([&] { return readlinkat(link.Get(), "", target.data(), target.size()); });
        if (length < 0) {
            throw SystemError("read the link " + path);
        }
        if (++m_links > kMaxLinks) {
            throw Error(m_path + " leads through too many links; expected a regular file");
        }
        const std::string_view text(target.data(), static_cast<std::size_t>(length));
        if (text.starts_with('/')) {
            m_folder = Open(AT_FDCWD, "/", O_PATH);
            m_folderPath = "/";
            m_status = m_root;
        }
        Push(text, true);
    }

    [[nodiscard]] Outcome Missing(const Name& name) const {
        if (name.isOfLink) {
            throw Error(m_path + " leads by a link to " + Below(name.text) +
                        ", which does not exist; expected a regular file");
        }
        return Outcome::Absent;
    }

    [[nodiscard]] Outcome Unreached(const std::string& name) const {
        if (errno == EACCES) {
            return Outcome::OutOfReach;
        }
        throw SystemError("examine " + Below(name));
    }

    const std::string m_path;
    const LastLink m_lastLink;
    const Expected m_expected;
    std::vector<Name> m_names; // names that remain, the next one last
    UniqueFd m_folder;
    std::string m_folderPath = "/";
    const struct stat64 m_root;
    struct stat64 m_status; // of the current folder
    std::string m_file;
    int m_links = 0;
};

} // namespace

UniqueFd OpenTrustedFileIfThere(const std::string& path) {
    Walk walk(path, LastLink::Follow);
    switch (walk.ToEnd()) {
    case Outcome::There:
        return walk.OpenFile();
    case Outcome::Absent:
        return {};
    case Outcome::OutOfReach:
        break;
    }
    errno = EACCES;
    throw SystemError("open the file " + path);
}

void RequireTrustedUnlinked(const std::string& path) {
    (void)Walk(path, LastLink::Refuse).ToEnd();
}

void RequireTrustedFolder(const std::string& path) {
    (void)Walk(path, LastLink::Follow, Expected::Folder).ToEnd();
}

} // namespace recorder
