// Finding the storage folders on a disk by the identities in them.

#pragma once

#include "recorder/camera/cameraidentity.h"

#include <string>
#include <vector>

namespace recorder {

struct FoundCamera {
    CameraIdentity identity;
    std::string folder; // below what was searched, and written as that is
};

struct CameraSearch {
    std::vector<FoundCamera> found;            // in the order of their folders
    std::vector<std::string> obstacles;        // folders and identities that can't be read, and why
    std::vector<std::string> otherFileSystems; // folders that were not searched, as they are on one
};

// Looks into `folder` (absolute) and up to five levels below it. Not into half-day folders,
// thumbnails and alert recordings, which are full and hold none; not into hidden folders, where
// backups and trash keep copies; not through links, and not into other file systems. Throws Error
// when `folder` is no absolute path of a folder.
[[nodiscard]] CameraSearch FindCamerasIn(const std::string& folder);

} // namespace recorder
