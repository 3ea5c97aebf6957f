// Reading a folder to its end, or knowing that it could not be.

#pragma once

#include "recorder/support/uniquefd.h"

#include <functional>
#include <string>

namespace recorder {

struct FolderEntry {
    std::string name;
    bool isFolder = false;      // a link to a folder is none
    bool isRegularFile = false; // or could be; a link to a file is none
    bool isLink = false;        // wherever it leads
};

enum class FolderListing { Complete, Stopped, Absent };

// Calls `visit` for each entry but "." and "..", until it returns false (Stopped) or the folder is
// at its end (Complete). Absent when the folder is truly absent (see ExistingPart). Throws
// LinkInPath on a link below a storage folder (see OpenFolder), and Error on every other failure,
// also in the middle: a listing that broke off is never taken for a complete one.
FolderListing ListFolder(const std::string& dir,
                         const std::function<bool(const FolderEntry&)>& visit);

// Opens the folder at `path`, links followed, to flush or lock it or to reach what is in it. Not
// open, with the reason in errno, when that fails.
[[nodiscard]] UniqueFd OpenFolderByPath(const std::string& path);

// The path without the slashes at its end; "/" stays.
[[nodiscard]] std::string WithoutTrailingSlashes(std::string path);

} // namespace recorder
