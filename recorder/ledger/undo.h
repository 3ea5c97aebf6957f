// Restores the rows that a run removed or changed.

#pragma once

#include "recorder/database/mediaselection.h"
#include "recorder/run/runlist.h"

#include <optional>
#include <string>
#include <vector>

namespace recorder {

// The rows to restore.
struct UndoSelection {
    long run = 0;
    // As IdentityText returns it; nothing: the run on record, or the only one.
    std::optional<std::string> identity = std::nullopt;
    MediaSelection media = {}; // these rows only
};

// A row that stays in the ledger.
struct RowNotRestored {
    long id = 0;      // the row's id in its table
    int camId = 0;    // 0 = no camera
    std::string file; // path or file name; empty: none
    std::string why;  // "a newer row exists for its file"
};

struct UndoneKind {
    std::string kind;  // the table
    long restored = 0; // rows that are as before the run, id included, and left the ledger
    std::vector<RowNotRestored> notRestored = {};
};

struct Undone {
    long removed = 0; // rows of the selection that the run removed or changed, restored or not
    std::vector<UndoneKind> kinds; // one for each table with rows of the selection
    // Failures to restore the remaining rows, or to correct the recording counts.
    std::vector<std::string> failures = {};
};

// Restores rows, never over the row of another file or a later change, and corrects the recording
// counts if recordings were restored. Rows are restored in small transactions. After a failure, the
// same call continues with the remaining rows.
//
// Throws only before any change: UntrustedLog if the log is not trusted; NotFound if there is no
// such run; Busy if the run lock is held; Error if the run is ambiguous or a database failed.
[[nodiscard]] Undone Undo(const UndoSelection& selection);

// Returns what Undo would do now, and changes nothing: `restored` counts the rows that would be
// restored. Takes no lock. Throws Error like Undo.
[[nodiscard]] Undone PlanUndo(const UndoSelection& selection);

// Other runs with the same number and rows in the ledger, which Undo does not restore. Empty if the
// selection has an identity. Throws Error.
[[nodiscard]] std::vector<RunRecord> OtherRuns(const UndoSelection& selection);

} // namespace recorder
