// A backup set while it is being built, under a hidden name beside the finished sets. A process
// that holds the backup lock is the only one that builds sets of its recorder.

#pragma once

#include "recorder/backup/backupset.h"
#include "recorder/support/uniquefd.h"

#include <string>

namespace recorder {

class StagedSet {
public:
    // Makes the folder of the set in the open folder `parent` at `parentPath`, which must stay open
    // as long as the staged set. Removes what a killed process left of one. Throws Error.
    StagedSet(const UniqueFd& parent, const std::string& parentPath, const std::string& recorder);
    // Removes the folder unless it was published.
    ~StagedSet();
    StagedSet(const StagedSet&) = delete;
    StagedSet& operator=(const StagedSet&) = delete;
    StagedSet(StagedSet&&) = delete;
    StagedSet& operator=(StagedSet&&) = delete;

    [[nodiscard]] const std::string& Path() const { return m_path; }

    // Adds the description and the checksums to the databases that are there. Throws Error.
    void Describe(const BackupSet& set) const;

    // Gives the set its name; it is on the disk when this returns. Throws Error, also if something
    // of that name exists.
    void Publish(const std::string& name);

private:
    const UniqueFd& m_parent;
    std::string m_name;
    std::string m_path;
    UniqueFd m_folder;
    bool m_isPublished = false;
};

// Removes the set `name` from the open folder: first from the list of sets, then its files. Other
// files in its folder stay, under the name of a staged set. Throws Error.
void RemoveSet(const UniqueFd& parent, const std::string& parentPath, const BackupSet& set);

} // namespace recorder
