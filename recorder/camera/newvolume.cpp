#include "recorder/camera/newvolume.h"

#include "recorder/camera/volume.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/uniquefd.h"
#include "recorder/support/uuid.h"
#include "recorder/support/wholefile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

// No secret, and of use to every program that has to tell one disk from another, as whichever user
// it runs.
constexpr mode_t kIdentityMode = 0644;

UniqueFd OpenFolder(const std::string& path) {
    if (!path.starts_with('/')) {
        throw Error(path + ": expected an absolute path");
    }
    UniqueFd folder = OpenFolderByPath(path);
    if (!folder.IsOpen() && (errno == ENOENT || errno == ENOTDIR)) {
        throw Error(path + ": expected a folder that exists");
    }
    if (!folder.IsOpen()) {
        throw SystemError("open the folder " + path);
    }
    return folder;
}

void RefuseSecondIdentity(const UniqueFd& folder, const std::string& path) {
    struct stat64 st = {};
    if (fstatat64(folder.Get(), kIdentityFileName, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        return; // what can't be looked at can't be written either: that will tell why
    }
    // Of a file that is no identity VolumeOf says so.
    if (const std::optional<Volume> volume = VolumeOf(path)) {
        throw Error(path + " has an identity already: " + volume->id);
    }
}

} // namespace

std::string InitVolume(const std::string& folder) {
    const UniqueFd open = OpenFolder(folder);
    RefuseSecondIdentity(open, folder);
    std::string id = NewUuid();
    const std::string line = id + "\n";
    try {
        WriteNewFile(open.Get(), kIdentityFileName,
                     {reinterpret_cast<const uint8_t*>(line.data()), line.size()}, kIdentityMode);
    } catch (const Error& error) {
        RefuseSecondIdentity(open, folder); // another process was faster
        throw Error("can't give " + folder + " an identity: " + error.what());
    }
    return id;
}

} // namespace recorder
