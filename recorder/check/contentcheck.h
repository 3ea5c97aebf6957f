// Compares the contents of files with those that earlier checks have seen.

#pragma once

#include "recorder/check/mediarows.h"
#include "recorder/finding/finding.h"
#include "recorder/support/deadline.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace recorder {

struct ContentOptions {
    Deadline end = Deadline::Never(); // no file is begun afterwards
    bool acceptChanged = false;       // changed contents are put on record, and are no finding
};

// What became of a part's files.
struct PartContents {
    long same = 0;                // files with the contents on record
    long taken = 0;               // files whose contents were put on record
    long accepted = 0;            // changed files whose contents were put on record
    long bytes = 0;               // that were read
    long findings = 0;            // changed, rotten and unreadable files
    long beingWritten = 0;        // files that were written during the check: not compared
    long notRead = 0;             // rows whose files this check did not read to their end
    std::optional<long> oldestTm; // when the first of those was last read; nothing: none ever was
    std::vector<std::string> problems; // what could not be read, and why
};

// Reads the files of the rows of these parts, and calls `found` with each finding, which is put on
// record under the number `examination`, and `progress` with the bytes of each file. Files that
// were never read come first, then those that were not read for the longest time. What was read is
// on record after a few seconds, so a check that was killed continues there when it is repeated.
// The result is in the order of `parts`. Throws Error if a database can't be used.
[[nodiscard]] std::vector<PartContents>
CheckContents(const std::vector<CheckedPart>& parts, const ContentOptions& options,
              long examination, const std::function<void(const Finding&)>& found,
              const std::function<void(long)>& progress);

} // namespace recorder
