// The proof that is asked for before rows are removed because their files are gone.

#pragma once

#include "recorder/database/resultset.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace recorder {

// Rows of a recording table and the files that they name, read once and looked for as often as it
// is asked for.
class Evidence {
public:
    // `rows` is what stands behind FROM to read them (Database::RowsWithIds). `subFolder` is where
    // in a camera's storage folder the half-day folders lie, empty for the storage folder itself.
    // Throws Error.
    Evidence(const std::string& table, const std::string& rows, std::string subFolder);
    ~Evidence() = default;
    // A copy's texts would be those of the original's rows.
    Evidence(const Evidence&) = delete;
    Evidence& operator=(const Evidence&) = delete;
    Evidence(Evidence&&) = default;
    Evidence& operator=(Evidence&&) = default;

    // Looks at the disk now. Throws Error when a camera of the rows can't be loaded, when a folder
    // is neither readable to its end nor truly absent, or when the file of a row, or a link of its
    // name, is there where recordings are looked for. Files that can't be seen are not gone, nor
    // are those behind a link in place of a half-day folder.
    void Require() const;

private:
    using Names = std::vector<std::string_view>;
    using NamesByFolder = std::map<std::string_view, Names>;

    DBResult_tag m_rows;
    std::map<int, NamesByFolder> m_files; // by camera; its texts are those of the rows
    std::string m_subFolder;
};

} // namespace recorder
