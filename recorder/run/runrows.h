// The rows that a run added and removed, one by one.

#pragma once

#include "recorder/run/runlist.h"

#include <functional>
#include <string>

namespace recorder {

struct RunRow {
    enum class Change { Added, Removed, Changed };
    Change change = Change::Removed;
    std::string kind; // the table
    long id = 0;
    int camId = 0;      // 0 = no camera
    std::string file{}; // path or file name; empty: none
    long removedBy = 0; // the later run that removed the added row; 0: the row exists
};

// Passes each row on record to `take`: the rows that the run added, then those that it removed or
// changed and that are in the ledger. Not on record are added rows that another program removed,
// removed and changed rows that were restored, and rows whose record has expired. Rows are read in
// small pages. Throws Error.
void ListRowsOfRun(const RunRecord& run, const std::function<void(const RunRow&)>& take);

// Deletes the records of the rows that runs added from each open database, if the parts of those
// runs have expired. Throws Error.
void ForgetAddedRows();

} // namespace recorder
