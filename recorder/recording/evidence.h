// The proof that is asked for before rows are removed because their files are gone.

#pragma once

#include <string>

namespace recorder {

// Checks the folders that are named by rows of a recording table. `rows` is what stands behind FROM
// to read them (Database::RowsWithIds). `subFolder` is where in a camera's storage folder the
// half-day folders lie, empty for the storage folder itself.
//
// Throws Error when a camera of theirs can't be loaded, when a folder is neither readable to its
// end nor truly absent, or when the file of a row is there where recordings are looked for. Files
// that can't be seen are not gone.
void DemandEvidence(const std::string& table, const std::string& rows,
                    const std::string& subFolder);

} // namespace recorder
