#include "recorder/camera/cameralock.h"

#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "recorder/support/uninterrupted.h"

#include <string>

#include <fcntl.h>
#include <sys/file.h>

namespace recorder {

UniqueFd LockCameras() {
    // The folder itself, so that there is no other file to make, own and clean up.
    UniqueFd folder(
        Uninterrupted([] { return open(kDatabaseDir, O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!folder.IsOpen() && errno == ENOENT) {
        throw Error(std::string("there is no folder ") + kDatabaseDir + ": was krctl init run?");
    }
    if (!folder.IsOpen() || Uninterrupted([&] { return flock(folder.Get(), LOCK_EX); }) != 0) {
        throw SystemError(std::string("lock the folder ") + kDatabaseDir);
    }
    return folder;
}

} // namespace recorder
