// Reading folders completely, or reporting that this was not possible.

#pragma once

#include "recorder/support/uniquefd.h"

#include <functional>
#include <string>

namespace recorder {

struct FolderEntry {
    std::string name;
    bool isFolder = false;      // false for a link to a folder
    bool isRegularFile = false; // or the type is unknown; false for a link to a file
    bool isLink = false;        // a symbolic link of any target
};

enum class FolderListing { Complete, Stopped, Absent };

// Calls `visit` for each entry except "." and ".." until `visit` returns false (Stopped) or the
// folder ends (Complete). Returns Absent when the folder is truly absent (see ExistingPart). Throws
// LinkInPath on a link below a storage folder (see OpenFolder), and Error on every other failure.
// An interrupted listing also throws: it is never treated as a complete one.
FolderListing ListFolder(const std::string& dir,
                         const std::function<bool(const FolderEntry&)>& visit);

// Opens the folder at `path`, following links, to flush it, lock it or open its entries. On failure
// the result is not open and errno has the reason.
[[nodiscard]] UniqueFd OpenFolderByPath(const std::string& path);

// The path without the slashes at its end; "/" stays.
[[nodiscard]] std::string WithoutTrailingSlashes(std::string path);

} // namespace recorder
