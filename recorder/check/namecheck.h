// Compares rows with the names, types and sizes of their files. Opens folders, but no file.

#pragma once

#include "recorder/check/mediarows.h"
#include "recorder/finding/finding.h"

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace recorder {

// Something that is wrong with a file of a part, as far as it can be put right.
struct Difference {
    FindingType type = FindingType::Missing;
    MediaRow row;                   // id 0: two files of a name, and none has a row
    std::vector<std::string> paths; // Moved, TwoFolders: the other paths of the name
    long sizeNow = 0;               // Size: bytes
    std::string detail;             // for people
};

// Returns the difference as a finding of a check.
[[nodiscard]] Finding FindingOf(const CheckedPart& part, const Difference& difference);

// The types that CheckNames finds.
[[nodiscard]] const std::vector<FindingType>& NameFindings();

struct CheckResult {
    long rows = 0;
    std::vector<std::string> beingWritten; // paths of files of another size, written meanwhile
    std::vector<std::string> problems;     // what could not be examined, and why; empty: complete
    std::string listed;                    // the folder whose folders were listed; empty: none
    std::set<std::string> notListed;       // those that could not be read to their end
};

// Called for each row whose path is that of a regular file, with the file's absolute path and
// status.
using TakeFile =
    std::function<void(const MediaRow& row, const std::string& path, const struct stat64& status)>;

// Checks every row of the part, and calls `found` with each difference and `take` with each file.
// Files that changed after `startTm` (seconds since the epoch) are being written: no difference. A
// row that changes or disappears during the check is no difference either. A file is only called
// missing if its folder was read completely and the camera's disk was there before and after.
// Throws Error if the rows can't be read.
[[nodiscard]] CheckResult CheckNames(const CheckedPart& part, long startTm,
                                     const std::function<void(const Difference&)>& found,
                                     const TakeFile& take = {});

} // namespace recorder
