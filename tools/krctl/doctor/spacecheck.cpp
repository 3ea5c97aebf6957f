#include "platform/utility.h"
#include "recorder/camera/cameratable.h"
#include "recorder/camera/volume.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"
#include "recorder/support/paths.h"
#include "tools/krctl/doctor/checks.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/statvfs.h>

namespace {

constexpr const char* kSubject = "space";
constexpr unsigned long kBytesPerMib = 1024UL * 1024UL;
constexpr unsigned long kFewMib = 200;
constexpr unsigned long kFewPercent = 5;

// The root of the volume, or the storage folder itself where that has none.
std::string PlaceOf(const recorder::CameraRow& camera) {
    try {
        const std::optional<recorder::Volume> volume = recorder::VolumeOf(camera.storagePath);
        return volume && volume->sharesMount ? volume->root : camera.storagePath;
    } catch (const recorder::Error&) {
        return camera.storagePath;
    }
}

// Databases and log, then the cameras' places. Cameras that can't be read have none; another check
// says why.
std::vector<std::string> Places() {
    std::vector<std::string> places{recorder::kDatabaseDir, GetDirPath(recorder::kLogFile)};
    try {
        for (const recorder::CameraRow& camera : recorder::ListCameras()) {
            places.push_back(PlaceOf(camera));
        }
    } catch (const recorder::Error&) {
        return places;
    }
    return places;
}

// Nothing when it isn't there, which is another check's.
std::optional<dev_t> FileSystemOf(const std::string& path) {
    struct stat64 st = {};
    return stat64(path.c_str(), &st) == 0 ? std::optional(st.st_dev) : std::nullopt;
}

Check CheckPlace(const std::string& path) {
    struct statvfs64 st = {};
    if (statvfs64(path.c_str(), &st) != 0) {
        return Warning(kSubject, recorder::SystemError("tell the space in " + path).what(), "");
    }
    const unsigned long freeMib = st.f_bavail * st.f_frsize / kBytesPerMib;
    const unsigned long percent = st.f_blocks == 0 ? 0 : st.f_bavail * 100 / st.f_blocks;
    const std::string is =
        recorder::Format("%s has %lu MiB free, %lu %%", path.c_str(), freeMib, percent);
    if (freeMib < kFewMib || percent < kFewPercent) {
        return Warning(kSubject, is,
                       recorder::Format("make room: less than %lu %% or %lu MiB is little",
                                        kFewPercent, kFewMib));
    }
    return Ok(kSubject, is);
}

} // namespace

Checks CheckSpace() {
    Checks checks;
    std::set<dev_t> seen;
    for (const std::string& place : Places()) {
        const std::optional<dev_t> fileSystem = FileSystemOf(place);
        if (fileSystem && seen.insert(*fileSystem).second) {
            checks.push_back(CheckPlace(place));
        }
    }
    return checks;
}
