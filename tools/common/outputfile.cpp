#include "tools/common/outputfile.h"

#include "platform/utility.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/presence.h"
#include "recorder/support/uniquefd.h"
#include "recorder/support/wholefile.h"

#include <cstdint>

#include <fcntl.h>
#include <sys/stat.h>

using recorder::Error;

namespace {

std::string FolderOf(const std::string& path) {
    const std::string folder = GetDirPath(path);
    return folder.empty() ? "." : folder;
}

recorder::UniqueFd OpenFolder(const std::string& path) {
    recorder::UniqueFd folder = recorder::OpenFolderByPath(path);
    if (!folder.IsOpen()) {
        throw recorder::SystemError("open the folder " + path);
    }
    return folder;
}

// Throws Error for a device such as /dev/stdout and for a link, which must not be replaced.
void RequireReplaceable(const std::string& path) {
    struct stat64 st = {};
    if (lstat64(path.c_str(), &st) == 0 && !S_ISREG(st.st_mode)) {
        throw Error("expected a regular file; it was not replaced");
    }
}

} // namespace

void WriteOutputFile(const std::string& path, const std::string& text, mode_t mode) {
    try {
        if (path.empty() || path.ends_with('/') ||
            recorder::FolderPresence(path) == recorder::Presence::Yes) {
            throw Error("expected the name of a file");
        }
        RequireReplaceable(path);
        recorder::WriteWholeFile(OpenFolder(FolderOf(path)).Get(), GetBaseName(path),
                                 {reinterpret_cast<const uint8_t*>(text.data()), text.size()},
                                 mode);
    } catch (const std::exception& error) {
        throw Error("can't write " + path + ": " + error.what());
    }
}
