// Checking parts: rows are compared with their files, and the findings put on record.

#pragma once

#include "recorder/check/namecheck.h"
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

struct PartCheck {
    long rows = 0;
    long findings = 0;
    long beingWritten = 0;             // files that were written during the check: not compared
    std::vector<std::string> problems; // what could not be examined, and why; empty: complete
};

// Checks a part, records its findings under the number of the examination, and calls `found` with
// each. Findings on record that a complete check did not find again are resolved. Nothing else is
// changed. `startTm` is the start of the check, in seconds since the epoch. Throws Error if the
// rows can't be read or the findings not be recorded.
[[nodiscard]] PartCheck CheckPart(const CheckedPart& part, CheckLevel level, long startTm,
                                  long examination,
                                  const std::function<void(const Finding&)>& found);

} // namespace recorder
