// Putting back what a run removed.

#pragma once

#include <optional>
#include <string>
#include <vector>

namespace recorder {

// Which of a run's removals are meant.
struct UndoSelection {
    long run = 0;
    std::optional<int> camId =
        std::nullopt; // rows of this camera only; snapshots and e-maps have none
    std::optional<std::string> kind = std::nullopt; // rows of this table only
};

struct UndoneKind {
    std::string kind;  // the table
    long restored = 0; // rows that are back as they were, id included
    long left = 0; // rows that stay in the ledger: there is a newer row for their file. An image
                   // may have several rows; those of e-maps never stay
};

// Puts rows back, never over a newer row, and brings the recording counts in line. One entry for
// each table that the selection has rows of. Each table is one transaction: after a failure the
// same call goes on where it ended.
//
// Throws Error: there is no such run, a run is registered at the moment, a database failed.
std::vector<UndoneKind> Undo(const UndoSelection& selection);

} // namespace recorder
