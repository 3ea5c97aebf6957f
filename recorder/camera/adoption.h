// Making cameras known again by the identities in their storage folders: after the loss of the
// database, on another recorder, or where their disk is mounted now.

#pragma once

#include "recorder/camera/camerasearch.h"
#include "recorder/camera/volume.h"

#include <optional>
#include <string>
#include <vector>

namespace recorder {

enum class AdoptionOutcome {
    Added,     // it has a row again
    TakenOver, // its row had no identity
    Moved,     // its row names the folder where it is now
    Known,     // its row says all that already
    Refused,   // nothing was changed for it
};

struct Adoption {
    FoundCamera camera;
    AdoptionOutcome outcome = AdoptionOutcome::Refused;
    std::string remark;           // why it was refused, or the folder that it was in
    std::optional<Volume> volume; // that it is bound to now
};

struct AdoptionReport {
    std::vector<Adoption> adoptions;
    CameraSearch search;
};

// Looks for cameras as FindCamerasIn does, and adopts each of them that it can without giving one
// camera's recordings to another: an id that another camera has, an identity that is there twice, a
// folder inside or around another camera's are refused. What is refused or can't be read holds up
// no other camera.
//
// Throws Error when `folder` is no folder, the recorder has no databases, or a run is registered,
// which takes the recordings of unknown cameras for gone.
[[nodiscard]] AdoptionReport AdoptCamerasIn(const std::string& folder);

} // namespace recorder
