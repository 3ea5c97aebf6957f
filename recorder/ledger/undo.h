// Putting back what a run removed.

#pragma once

#include "recorder/run/runlist.h"

#include <optional>
#include <string>
#include <vector>

namespace recorder {

// Which of a run's removals are meant.
struct UndoSelection {
    long run = 0;
    std::optional<std::string> identity =
        std::nullopt; // as IdentityText shows it; nothing: the run on record, or the only one
    std::optional<int> camId =
        std::nullopt; // rows of this camera only; snapshots and e-maps have none
    std::optional<std::string> kind = std::nullopt; // rows of this table only
};

// It stays in the ledger.
struct RowNotRestored {
    long id = 0;      // the row's own
    int camId = 0;    // 0 = of no camera
    std::string file; // its path or file name; empty: it has none
    std::string why;  // "a newer row exists for its file"
};

struct UndoneKind {
    std::string kind;  // the table
    long restored = 0; // rows that are back as they were, id included, and left the ledger
    std::vector<RowNotRestored> notRestored = {};
};

struct Undone {
    std::vector<UndoneKind> kinds; // one for each table that the selection has rows of
    // What failed, if anything: the rest of the rows, or the correction of the recording counts.
    std::vector<std::string> failures = {};
};

// Restores rows, never over a row that is there, and corrects the recording counts where recordings
// were restored. Rows are restored in small transactions: after a failure the same call continues
// where it ended.
//
// Throws before any change. UntrustedLog: the log is not trusted. Error: there is no such run, or
// which one is meant can't be told, the run lock is held, a database failed.
[[nodiscard]] Undone Undo(const UndoSelection& selection);

// Other runs of the same number that the ledger holds rows of, which Undo leaves alone. None where
// the selection names an identity. Throws Error.
[[nodiscard]] std::vector<RunRecord> OtherRuns(const UndoSelection& selection);

} // namespace recorder
