// Reading the contents of a file.

#pragma once

#include "recorder/check/contenttable.h"
#include "recorder/support/uniquefd.h"

#include <string>

namespace recorder {

// What reading a file came to.
struct FileReading {
    enum class Outcome {
        Read,         // `contents` is set
        Absent,       // there is no regular file of this name
        BeingWritten, // the file changes: to be read another time
        Lost,         // the disk can't read it; `why` is set
        Unknown,      // it can't be read for another reason; `why` is set
    };
    Outcome outcome = Outcome::Absent;
    FileContents contents;
    std::string why;
};

// Reads a file of a folder from the disk, not from the kernel's memory, behind the reads of other
// programs. Follows no link. `path` is the file's path, for messages.
[[nodiscard]] FileReading ReadFile(const UniqueFd& folder, const std::string& name,
                                   const std::string& path);

} // namespace recorder
