// The names of a part's files, read from its folders: where a missing file is now, and which names
// are in several folders.

#pragma once

#include "recorder/database/mediatable.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace recorder {

// A row whose file is not at the row's path.
struct MissingFile {
    long id = 0;
    std::string path;
};

class FileNames {
public:
    // `root` is the folder of the files or, for recordings, of their half-day folders.
    FileNames(const MediaTable& table, std::string root)
        : m_table(table), m_root(std::move(root)) {}

    // Reads all folders. Keeps the places of the missing files and, for the other files, a hash of
    // the name. `missing` must stay as it is. Throws Error if the folders can't be listed.
    void Read(const std::vector<MissingFile>& missing);

    // The paths, as in rows, of the files with this file's name.
    [[nodiscard]] std::vector<std::string> PathsOf(const MissingFile& missing) const;

    // The paths of the files of each name that is in several folders. Reads the folders again if
    // there may be such names. Throws Error.
    [[nodiscard]] std::vector<std::vector<std::string>> InSeveralFolders();

    // The folders that could not be read to their end, and why.
    [[nodiscard]] const std::set<std::string>& Problems() const { return m_problems; }

    // The same folders, absolute paths.
    [[nodiscard]] const std::set<std::string>& NotListed() const { return m_notListed; }

private:
    template <typename Take> void ForEachFile(const Take& take);

    const MediaTable& m_table;
    std::string m_root;
    std::unordered_multimap<std::string_view, std::string> m_places; // folders by missing name
    std::vector<std::uint64_t> m_hashes;
    std::set<std::string> m_problems;
    std::set<std::string> m_notListed;
};

} // namespace recorder
