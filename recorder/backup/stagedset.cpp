#include "recorder/backup/stagedset.h"

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

std::string StagedName(const std::string& recorder) {
    return ".kestora-backup-" + recorder + ".tmp";
}

std::string LastPart(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// Somebody's file in a folder of ours must neither be lost nor stop all
// later backups, so the folder gets another name.
void MoveAside(const UniqueFd& parent, const std::string& name, const std::string& path) {
    for (int number = 1;; ++number) {
        const std::string other = Format("kestora-backup-left-%d", number);
        if (Uninterrupted([&] {
                return renameat(parent.Get(), name.c_str(), parent.Get(), other.c_str());
            }) == 0) {
            return;
        }
        // The name is taken: by something else than a folder, or by a folder that isn't empty.
        if (errno != EEXIST && errno != ENOTEMPTY && errno != ENOTDIR) {
            throw SystemError("rename the folder " + path + " to " + other);
        }
    }
}

// Removes the files of a set, and of a copy that was not finished, and the folder. Moves the folder
// aside if anything else is in it.
void RemoveStaged(const UniqueFd& parent, const std::string& name, const std::string& path) {
    const UniqueFd folder = OpenSubFolder(parent, name, path, FolderUse::Enter);
    if (!folder.IsOpen()) {
        return;
    }
    unlinkat(folder.Get(), kChecksumFile, 0);
    for (const std::string file : kCheckedFiles) {
        for (const char* const suffix : {"", "-wal", "-shm", "-journal"}) {
            unlinkat(folder.Get(), (file + suffix).c_str(), 0);
        }
    }
    RemoveLeftTemporaries(folder.Get());
    if (unlinkat(parent.Get(), name.c_str(), AT_REMOVEDIR) == 0) {
        return;
    }
    if (errno != ENOTEMPTY && errno != EEXIST) {
        throw SystemError("remove the folder " + path);
    }
    MoveAside(parent, name, path);
}

// Not over an existing set: a folder that holds anything can't be replaced.
void Rename(const UniqueFd& parent, const std::string& from, const std::string& to,
            const std::string& path) {
    if (Uninterrupted(
            [&] { return renameat(parent.Get(), from.c_str(), parent.Get(), to.c_str()); }) != 0) {
        throw SystemError("rename " + path + " to " + to);
    }
}

void Flush(const UniqueFd& folder, const std::string& path) {
    if (Uninterrupted([&] { return fsync(folder.Get()); }) != 0) {
        throw SystemError("flush the folder " + path);
    }
}

} // namespace

StagedSet::StagedSet(const UniqueFd& parent, const std::string& parentPath,
                     const std::string& recorder)
    : m_parent(parent), m_name(StagedName(recorder)), m_path(parentPath + "/" + m_name) {
    RemoveStaged(parent, m_name, m_path);
    if (mkdirat(parent.Get(), m_name.c_str(), kSetMode) != 0) {
        throw SystemError("create the folder " + m_path);
    }
    m_folder = OpenSubFolder(parent, m_name, m_path, FolderUse::List);
}

StagedSet::~StagedSet() {
    if (!m_isPublished) {
        try {
            RemoveStaged(m_parent, m_name, m_path);
        } catch (const Error&) {
            // The next backup tries it again.
        }
    }
}

void StagedSet::Describe(const BackupSet& set) const {
    WriteDescription(m_folder, set);
    WriteChecksums(m_folder, m_path);
    Flush(m_folder, m_path);
}

void StagedSet::Publish(const std::string& name) {
    Rename(m_parent, m_name, name, m_path);
    m_isPublished = true;
    Flush(m_parent, m_path);
}

void RemoveSet(const UniqueFd& parent, const std::string& parentPath, const BackupSet& set) {
    const std::string staged = StagedName(set.recorder);
    Rename(parent, LastPart(set.folder), staged, set.folder);
    RemoveStaged(parent, staged, parentPath + "/" + staged);
}

} // namespace recorder
