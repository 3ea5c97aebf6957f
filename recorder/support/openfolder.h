// Opening folders. The operator chooses the path of a storage folder, which may contain links,
// because disks are mounted anywhere. Other users may write below it, so links there are not
// followed.

#pragma once

#include "recorder/support/error.h"
#include "recorder/support/uniquefd.h"

#include <string>

namespace recorder {

// A symbolic link where links are not followed, such as below a storage folder.
class LinkInPath : public Error {
public:
    using Error::Error;
};

// From now on, for the whole process, OpenFolder follows no link below `folder`.
void ProtectStorageFolder(const std::string& folder);

enum class FolderUse {
    List,
    Enter, // to open entries by name; the folder need not be readable
};

// Opens the folder at `path`. The result is not open when the folder is truly absent (see
// ExistingPart). Throws LinkInPath on a link below a storage folder, and Error on every other
// failure.
[[nodiscard]] UniqueFd OpenFolder(const std::string& path, FolderUse use);

// Opens the sub-folder `name` of an open folder, never through a link. The result is not open if
// the sub-folder does not exist. `path` is its path, for messages. Throws LinkInPath if it is a
// link, and Error on every other failure.
[[nodiscard]] UniqueFd OpenSubFolder(const UniqueFd& folder, const std::string& name,
                                     const std::string& path, FolderUse use);

} // namespace recorder
