// The runs that are on record.

#pragma once

#include <optional>
#include <string>
#include <vector>

namespace recorder {

struct RunChange {
    std::string kind;  // the table
    long added = 0;    // rows
    long removed = 0;  // rows
    long undoable = 0; // of the rows removed, those that are in the ledger still
};

struct RunRecord {
    long id = 0;
    int pid = 0;                    // process that did the work
    long startTm = 0;               // seconds since the epoch
    std::optional<long> endTm;      // nothing: it hasn't ended, or it was killed
    std::vector<RunChange> changes; // by table; tables that it didn't change are left out
};

// Newest first. Throws Error.
[[nodiscard]] std::vector<RunRecord> ListRuns();

} // namespace recorder
