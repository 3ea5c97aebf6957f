#include "platform/utility.h"
#include "recorder/camera/cameratable.h"
#include "recorder/camera/volume.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/paths.h"
#include "tools/krctl/doctor/check.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/statvfs.h>

namespace {

constexpr const char* kSubject = "space";
constexpr unsigned long kBytesPerMib = 1024UL * 1024UL;
constexpr unsigned long kMinFreeMib = 200;
constexpr unsigned long kMinFreePercent = 5;

// Returns the root of the camera's volume, or its storage folder if it is on no volume.
std::string VolumeRootOf(const recorder::CameraRow& camera) {
    try {
        const std::optional<recorder::Volume> volume = recorder::VolumeOf(camera.storagePath);
        return volume && volume->sharesMount ? volume->root : camera.storagePath;
    } catch (const recorder::Error&) {
        return camera.storagePath;
    }
}

// Returns the folders of databases and log, then those of the cameras. The camera check reports
// the reason if the cameras can't be read.
std::vector<std::string> Folders() {
    std::vector<std::string> folders{recorder::kDatabaseDir, GetDirPath(recorder::kLogFile)};
    try {
        for (const recorder::CameraRow& camera : recorder::ListCameras()) {
            folders.push_back(VolumeRootOf(camera));
        }
    } catch (const recorder::Error&) {
        return folders;
    }
    return folders;
}

// Returns nothing if `path` can't be examined: other checks report that.
std::optional<dev_t> FileSystemOf(const std::string& path) {
    struct stat64 st = {};
    return stat64(path.c_str(), &st) == 0 ? std::optional(st.st_dev) : std::nullopt;
}

Check CheckFreeSpace(const std::string& path) {
    struct statvfs64 st = {};
    if (statvfs64(path.c_str(), &st) != 0) {
        return Warning(kSubject,
                       recorder::SystemError("determine the free space in " + path).what(), "");
    }
    const unsigned long freeMib = st.f_bavail * st.f_frsize / kBytesPerMib;
    const unsigned long percent = st.f_blocks == 0 ? 0 : st.f_bavail * 100 / st.f_blocks;
    const std::string freeSpace =
        recorder::Format("%s has %lu MiB free, %lu %%", path.c_str(), freeMib, percent);
    if (freeMib < kMinFreeMib || percent < kMinFreePercent) {
        return Warning(
            kSubject, freeSpace,
            recorder::Format("free some space: at least %lu %% and %lu MiB are recommended",
                             kMinFreePercent, kMinFreeMib));
    }
    return Ok(kSubject, freeSpace);
}

} // namespace

Checks CheckSpace() {
    Checks checks;
    std::set<dev_t> seen;
    for (const std::string& folder : Folders()) {
        const std::optional<dev_t> fileSystem = FileSystemOf(folder);
        if (fileSystem && seen.insert(*fileSystem).second) {
            checks.push_back(CheckFreeSpace(folder));
        }
    }
    return checks;
}
