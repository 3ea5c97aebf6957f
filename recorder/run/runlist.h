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
    long token = 0;                 // random; its identity, with the id
    bool isOnRecord = true;         // false: its record was lost; what it removed is known still
    int pid = 0;                    // process that did the work
    long startTm = 0;               // seconds since the epoch
    std::optional<long> endTm;      // nothing: it hasn't ended, or it was killed
    long failures = 0;              // known when it has ended
    long refusals = 0;              // likewise
    long unlogged = 0;              // lines that the log didn't take: one of the failures
    std::vector<RunChange> changes; // by table; tables that it didn't change are left out
};

// One kind of media, and one camera where the kind has cameras.
struct RunPart {
    std::string kind; // the table; empty: the camera couldn't be loaded
    int camId = 0;    // 0: of no camera, or of cameras that are gone
    long durationMs = 0;
    long files = 0; // regular files that were looked at
    long known = 0; // rows that there were before
    long added = 0;
    long removed = 0;
    long failures = 0;
    long refusals = 0;
    std::string refusal; // why, the first time
};

// All throw Error.

// Newest first; those whose record was lost are among them.
[[nodiscard]] std::vector<RunRecord> ListRuns();

[[nodiscard]] std::optional<RunRecord> FindRun(long id);
// All runs of a number: more than one where databases were restored from copies of different times.
// The one on record, if there is one, comes first.
[[nodiscard]] std::vector<RunRecord> RunsOfNumber(long id);

// As people and programs are shown it: 16 hexadecimal digits.
[[nodiscard]] std::string IdentityText(const RunRecord& run);

[[nodiscard]] std::optional<RunRecord> NewestRun();
// Of those that a process did, with a higher number than `after`.
[[nodiscard]] std::optional<RunRecord> NewestRunOf(int pid, long after);
[[nodiscard]] std::optional<RunRecord> NewestEndedRun();

// Of the run on record. In the order of time. Parts of a run that was killed are not on record;
// what it changed stands in parts of its own, without the rest.
[[nodiscard]] std::vector<RunPart> PartsOfRun(long id);

// The rows that a run has added and removed so far, of all kinds.
struct RunTotals {
    long added = 0;
    long removed = 0;
};
[[nodiscard]] RunTotals TotalsOfRun(long id);

} // namespace recorder
