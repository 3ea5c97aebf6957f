// Changes of existing rows that an undo can reverse.

#pragma once

#include "recorder/database/database.h"
#include "recorder/database/mediatable.h"
#include "recorder/run/runlock.h"

#include <string>
#include <utility>
#include <vector>

namespace recorder {

// Columns and their values as SQL literals.
using ColumnValues = std::vector<std::pair<std::string, std::string>>;

// Changes rows under a run number of its own. A copy of each row as it was goes to the ledger, in
// the transaction that changes the row.
class RowChanges {
public:
    // Takes the run lock. Throws Busy if another process holds it, Error.
    explicit RowChanges(long startTm);

    // Changes the row with this id if it still has the values of `before`. Returns false if it
    // does not: nothing has changed then. Throws Error if the row can't be changed, for instance
    // because another row has the new path.
    [[nodiscard]] bool Change(const MediaTable& table, int camId, long id,
                              const ColumnValues& before, const ColumnValues& after);

    // Records the end, unless no row was changed. Throws Error.
    void End();

    // The number under which krctl undo knows the changes; 0: no row was changed.
    [[nodiscard]] long Run() const { return m_run.number; }

private:
    void Begin();

    RunLock m_lock;
    long m_startTm;
    RunIdentity m_run;
};

} // namespace recorder
