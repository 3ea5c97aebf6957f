// The recorded runs.

#pragma once

#include <optional>
#include <string>
#include <vector>

namespace recorder {

struct RunChange {
    std::string kind;  // the table
    long added = 0;    // rows
    long removed = 0;  // rows
    long changed = 0;  // rows
    long undoable = 0; // removed and changed rows that are still in the ledger
};

struct RunRecord {
    long id = 0;
    long token = 0;                 // random; identifies the run together with the id
    bool isOnRecord = true;         // false: its record was lost, and only its changes are known
    bool isFix = false;             // krctl check --fix; otherwise a run of the re-index tool
    int pid = 0;                    // process that did the work
    long startTm = 0;               // seconds since the epoch
    std::optional<long> endTm;      // nothing: the run is in progress or was killed
    long failures = 0;              // 0 until the run has ended
    long refusals = 0;              // 0 until the run has ended
    long unlogged = 0;              // lines that could not be logged; together one of the failures
    std::vector<RunChange> changes; // one for each table that the run changed
};

// A part of a run: one kind of media or, where the kind has cameras, of one camera.
struct RunPart {
    std::string kind; // the table; empty: the camera couldn't be loaded
    int camId = 0;    // 0: the kind has no cameras, or the part is that of deleted cameras
    long durationMs = 0;
    long files = 0; // regular files that were visited
    long known = 0; // rows when the part began
    long added = 0;
    long removed = 0;
    long changed = 0;
    long failures = 0;
    long refusals = 0;
    std::string refusal; // reason of the first refusal
};

// All functions throw Error.

// All runs, newest first, including those whose record was lost.
[[nodiscard]] std::vector<RunRecord> ListRuns();

// All runs with this number. There can be more than one where databases were restored from copies
// of different times. The recorded one, if any, comes first.
[[nodiscard]] std::vector<RunRecord> RunsOfNumber(long id);

// The run with this number and, if given, this identity. Without an identity it is the recorded
// run, or the only one. A run whose record was lost is known by its changes. Throws NotFound if
// there is no such run, Error if there are several and the record of each was lost.
[[nodiscard]] RunRecord RequireRun(long id, const std::optional<std::string>& identity);

// The identity of the run as users see and type it: 16 hexadecimal digits.
[[nodiscard]] std::string IdentityText(const RunRecord& run);

// The number of the newest run, of whatever purpose; 0: none is on record.
[[nodiscard]] long HighestRun();

// These leave out fixes.
[[nodiscard]] std::optional<RunRecord> NewestRun();
// The newest run of this process with a number higher than `after`.
[[nodiscard]] std::optional<RunRecord> NewestRunOf(int pid, long after);
[[nodiscard]] std::optional<RunRecord> NewestEndedRun();

// The parts of the recorded run with this number, oldest first. A killed run has recorded no parts:
// it has one for each kind and camera that it changed, with the counts of rows only.
[[nodiscard]] std::vector<RunPart> PartsOfRun(long id);

// The rows of all kinds that a run has added, removed and changed until now.
struct RunTotals {
    long added = 0;
    long removed = 0;
    long changed = 0;
};
[[nodiscard]] RunTotals TotalsOfRun(long id);

} // namespace recorder
