// The proof that is required before rows are removed because their files are gone.

#pragma once

#include "recorder/database/resultset.h"
#include "recorder/run/brake.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace recorder {

// Rows of a recording table and the files that they name. The rows are read once; the disk is
// checked at each call of Require.
class Evidence {
public:
    // `rows` is the SQL after FROM that selects the rows (Database::RowsWithIds). `subFolder` is
    // the folder within the camera's storage folder that holds the half-day folders, empty for the
    // storage folder itself. Throws Error.
    Evidence(const std::string& table, const std::string& rows, std::string subFolder);
    ~Evidence() = default;
    // A copy would refer to the texts of the original's rows.
    Evidence(const Evidence&) = delete;
    Evidence& operator=(const Evidence&) = delete;
    Evidence(Evidence&&) = default;
    Evidence& operator=(Evidence&&) = default;

    // Checks the disk now. Throws Error if a camera of the rows can't be loaded, if a folder is
    // neither completely readable nor truly absent, or if the file of a row, or a link with its
    // name, exists where the tool searches for recordings. Files that can't be seen are not
    // considered gone, nor are files behind a link in place of a half-day folder.
    void Require() const;

    // Adds the number of the rows to `rows`, by camera.
    void AddRows(RowsByCamera& rows) const;

private:
    using Names = std::vector<std::string_view>;
    using NamesByFolder = std::map<std::string_view, Names>;

    DBResult_tag m_rows;
    std::map<int, NamesByFolder> m_files; // by camera; refers to the texts in m_rows
    std::string m_subFolder;
};

} // namespace recorder
