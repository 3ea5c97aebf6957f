// Finding the cameras on a disk by the identities in their storage folders, and adding them to the
// recorder: after the loss of the database, on another recorder, or where the disk is mounted now.

#pragma once

#include "recorder/camera/cameraidentity.h"
#include "recorder/camera/volume.h"

#include <optional>
#include <string>
#include <vector>

namespace recorder {

struct FoundCamera {
    CameraIdentity identity;
    std::string folder; // the searched folder as it was given, and the path below it
};

struct CameraSearch {
    std::vector<FoundCamera> found;            // in the order of their folders
    std::vector<std::string> obstacles;        // why folders and identities can't be read
    std::vector<std::string> otherFileSystems; // folders not searched: on other file systems
};

// Searches `folder` (absolute) and five levels of folders below it. Skips half-day folders,
// thumbnails and alert recordings, which have many entries and no cameras; hidden folders, where
// backups and trash keep copies; links; and other file systems. Throws Error if `folder` is not the
// absolute path of a folder.
[[nodiscard]] CameraSearch FindCamerasIn(const std::string& folder);

enum class AdoptionOutcome {
    Added,     // it had no row
    TakenOver, // its row had no identity
    Moved,     // its row had another folder
    Known,     // its row was correct
    Refused,   // nothing was changed for it
};

struct Adoption {
    FoundCamera camera;
    AdoptionOutcome outcome = AdoptionOutcome::Refused;
    std::string remark;           // the reason of a refusal, or the previous folder
    std::optional<Volume> volume; // the volume it is bound to now
};

struct AdoptionReport {
    std::vector<Adoption> adoptions;
    CameraSearch search;
};

// Finds cameras like FindCamerasIn, and adopts each one unless this could give the recordings of
// one camera to another. It refuses an id that another camera has, an identity that was found
// twice, and a folder inside or around another camera's. A refused camera or an unreadable folder
// does not affect other cameras.
//
// Throws Error if `folder` is not a folder, the recorder has no databases, or a run is registered,
// because a run treats the recordings of unknown cameras as deleted.
[[nodiscard]] AdoptionReport AdoptCamerasIn(const std::string& folder);

} // namespace recorder
