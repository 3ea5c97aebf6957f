#include "recorder/backup/stagedset.h"

#include "recorder/backup/databasecopy.h"
#include "recorder/backup/setfiles.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/openfolder.h"
#include "recorder/support/temporaryfile.h"
#include "recorder/support/uninterrupted.h"

#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

constexpr mode_t kSetMode = 0750;

std::string StagedName(const std::string& owner) {
    return ".kestora-backup-" + owner + ".tmp";
}

std::string LastPart(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// Not over an existing set: a folder that holds anything can't be replaced.
void Rename(const UniqueFd& parent, const std::string& from, const std::string& to,
            const std::string& path) {
    if (Uninterrupted(
            [&] { return renameat(parent.Get(), from.c_str(), parent.Get(), to.c_str()); }) != 0) {
        throw SystemError("rename " + path + " to " + to);
    }
}

// Gives another name to what can't be removed, because it must neither be lost nor stop all later
// backups. Returns the name.
std::string MoveAside(const UniqueFd& parent, const std::string& name, const std::string& path) {
    for (int number = 1;; ++number) {
        std::string other = Format("%s%d", kLeftPrefix, number);
        struct stat64 st = {};
        if (fstatat64(parent.Get(), other.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0) {
            continue;
        }
        if (errno != ENOENT) {
            throw SystemError("examine " + other + " beside " + path);
        }
        Rename(parent, name, other, path);
        return other;
    }
}

// Removes the files of a set, and of a copy that was not finished. Returns why one of them could
// not be removed; empty if all are gone.
std::string RemoveFiles(const UniqueFd& folder, const std::string& path) {
    std::string failure;
    const auto remove = [&](const std::string& name) {
        if (unlinkat(folder.Get(), name.c_str(), 0) != 0 && errno != ENOENT && failure.empty()) {
            failure = SystemError("remove " + path + "/" + name).what();
        }
    };
    remove(kChecksumFile);
    for (const std::string file : kCheckedFiles) {
        for (const char* const suffix : kDatabaseFileSuffixes) {
            remove(file + suffix);
        }
    }
    RemoveLeftTemporaries(folder.Get());
    return failure;
}

// Removes the folder and its files. Moves it aside if anything else is in it. Returns what could
// not be removed; empty if nothing is left.
std::string RemoveStaged(const UniqueFd& parent, const std::string& name, const std::string& path) {
    std::string failure;
    try {
        const UniqueFd folder = OpenSubFolder(parent, name, path, FolderUse::Enter);
        if (!folder.IsOpen()) {
            return "";
        }
        failure = RemoveFiles(folder, path);
    } catch (const Error& error) { // for example, it is a file or a link
        return error.what();
    }
    if (!failure.empty() || unlinkat(parent.Get(), name.c_str(), AT_REMOVEDIR) == 0) {
        return failure;
    }
    if (errno != ENOTEMPTY && errno != EEXIST) {
        return SystemError("remove the folder " + path).what();
    }
    (void)MoveAside(parent, name, path);
    return "";
}

// Like RemoveStaged, but also moves aside what can't be removed, to make room for a new folder.
std::string MakeRoom(const UniqueFd& parent, const std::string& name, const std::string& path) {
    const std::string failure = RemoveStaged(parent, name, path);
    return failure.empty() ? "" : failure + "; it is now in " + MoveAside(parent, name, path);
}

void Flush(const UniqueFd& folder, const std::string& path) {
    if (Uninterrupted([&] { return fsync(folder.Get()); }) != 0) {
        throw SystemError("flush the folder " + path);
    }
}

} // namespace

StagedSet::StagedSet(const UniqueFd& parent, const std::string& parentPath,
                     const std::string& owner)
    : m_parent(parent), m_name(StagedName(owner)), m_path(parentPath + "/" + m_name),
      m_left(MakeRoom(parent, m_name, m_path)) {
    if (mkdirat(parent.Get(), m_name.c_str(), kSetMode) != 0) {
        throw SystemError("create the folder " + m_path);
    }
    m_folder = OpenSubFolder(parent, m_name, m_path, FolderUse::List);
}

StagedSet::~StagedSet() {
    if (!m_isDone) {
        (void)Discard();
    }
}

std::string StagedSet::Discard() noexcept {
    m_isDone = true;
    try {
        return RemoveStaged(m_parent, m_name, m_path);
    } catch (const std::exception& error) {
        return error.what(); // the next backup tries it again
    }
}

void StagedSet::Describe(const BackupSet& set) const {
    WriteDescription(m_folder, set);
    WriteChecksums(m_folder, m_path);
}

void StagedSet::Publish(const std::string& name) {
    Flush(m_folder, m_path);
    Rename(m_parent, m_name, name, m_path);
    m_isDone = true;
    Flush(m_parent, m_path);
}

std::string RemoveSet(const UniqueFd& parent, const std::string& parentPath, const BackupSet& set) {
    const std::string staged = StagedName(set.recorder);
    Rename(parent, LastPart(set.folder), staged, set.folder);
    return RemoveStaged(parent, staged, parentPath + "/" + staged);
}

} // namespace recorder
