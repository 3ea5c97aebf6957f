// Opening folders. The path of a storage folder is the operator's, links and all: disks are mounted
// anywhere. What is below it belongs to whoever may write there, so no link leads from there to
// somewhere else.

#pragma once

#include "recorder/support/error.h"
#include "recorder/support/uniquefd.h"

#include <string>

namespace recorder {

// A link where none is followed, such as below a storage folder.
class LinkInPath : public Error {
public:
    using Error::Error;
};

// From now on, for the whole process, OpenFolder follows no link below `folder`.
void ProtectStorageFolder(const std::string& folder);

enum class FolderUse {
    List,
    Enter, // to reach what is in it by its name, for which it need not be readable
};

// Opens the folder at `path`. The result is not open when the folder is truly absent (see
// ExistingPart). Throws LinkInPath on a link below a storage folder, and Error on every other
// failure.
[[nodiscard]] UniqueFd OpenFolder(const std::string& path, FolderUse use);

// Opens the sub-folder `name` of an open folder, never through a link. The result is not open when
// there is none. `path` is the sub-folder's, for messages. Throws LinkInPath when it is a link, and
// Error on every other failure.
[[nodiscard]] UniqueFd OpenSubFolder(const UniqueFd& folder, const std::string& name,
                                     const std::string& path, FolderUse use);

} // namespace recorder
