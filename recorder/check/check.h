// Checking parts: rows are compared with their files, and the findings put on record.

#pragma once

#include "recorder/check/namecheck.h"
#include "recorder/check/rowfix.h"
#include "recorder/database/mediaselection.h"

#include <functional>
#include <string>
#include <vector>

namespace recorder {

enum class CheckLevel {
    Names,      // names, types and sizes of files
    Containers, // also the headers of recordings
};

// The parts of a selection: its kinds, and of the kinds with cameras the selected cameras or else
// all cameras that this recorder records. Throws Error if the cameras can't be read.
[[nodiscard]] std::vector<CheckedPart> PartsOf(const MediaSelection& selection);

// The rows of the selection that are in none of its parts: rows of cameras that were deleted, or
// that another recorder records, whose files can't be located. 0 if cameras are selected. Throws
// Error.
[[nodiscard]] long RowsWithoutPart(const MediaSelection& selection);

struct PartCheck {
    long rows = 0;
    long findings = 0;
    long fixed = 0;                    // differences that were fixed: they are no findings
    long beingWritten = 0;             // files that were written during the check: not compared
    std::vector<std::string> problems; // what could not be examined, and why; empty: complete
};

struct CheckOptions {
    CheckLevel level = CheckLevel::Names;
    long startTm = 0;      // of the check, seconds since the epoch
    long examination = 0;  // the number under which findings are recorded
    RowFix* fix = nullptr; // null: rows are not changed
};

using TakeFinding = std::function<void(const Finding&, const FixResult&)>;

// Checks a part, records its findings, and calls `found` with each difference and what became of
// it. Findings on record that a complete check did not find again are resolved. Nothing else is
// changed without `fix`. Throws Error if the rows can't be read or the findings not be recorded.
[[nodiscard]] PartCheck CheckPart(const CheckedPart& part, const CheckOptions& options,
                                  const TakeFinding& found);

} // namespace recorder
