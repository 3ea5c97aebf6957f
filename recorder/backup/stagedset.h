// A folder of databases while it is being built, under a hidden name beside the finished ones. A
// process that holds the backup lock is the only one that builds them.

#pragma once

#include "recorder/backup/backupset.h"
#include "recorder/support/uniquefd.h"

#include <string>

namespace recorder {

class StagedSet {
public:
    // Makes the folder of the set in the open folder `parent` at `parentPath`, which must stay open
    // as long as the staged set. Removes what a killed process left of one of the same owner: a
    // recorder, or kReplacedFiles. Throws Error.
    StagedSet(const UniqueFd& parent, const std::string& parentPath, const std::string& owner);
    // Calls Discard unless the set was published.
    ~StagedSet();
    StagedSet(const StagedSet&) = delete;
    StagedSet& operator=(const StagedSet&) = delete;
    StagedSet(StagedSet&&) = delete;
    StagedSet& operator=(StagedSet&&) = delete;

    [[nodiscard]] const std::string& Path() const { return m_path; }

    // What could not be removed of the one that a killed process left, and where it is now; empty
    // if nothing is left.
    [[nodiscard]] const std::string& Left() const { return m_left; }

    // Removes the folder. Returns what could not be removed; empty if nothing is left.
    [[nodiscard]] std::string Discard() noexcept;

    // Adds the description and the checksums to the databases that are there. Throws Error.
    void Describe(const BackupSet& set) const;

    // Gives the set its name; it is on the disk when this returns. Throws Error, also if something
    // of that name exists.
    void Publish(const std::string& name);

private:
    const UniqueFd& m_parent;
    std::string m_name;
    std::string m_path;
    std::string m_left;
    UniqueFd m_folder;
    bool m_isDone = false; // published or removed
};

// The owner of folders that are not sets, because a database is damaged or missing.
constexpr const char* kReplacedFiles = "files";

// The beginning of the names of folders that could not be removed completely.
constexpr const char* kLeftPrefix = "kestora-backup-left-";

// Removes a set from the open folder: first from the list of sets, then its files. Other files in
// its folder stay, in a folder with a name like kLeftPrefix. Returns what else could not be
// removed, which the next backup tries again; empty if nothing is left. Throws Error.
[[nodiscard]] std::string RemoveSet(const UniqueFd& parent, const std::string& parentPath,
                                    const BackupSet& set);

} // namespace recorder
