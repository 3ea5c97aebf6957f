#include "recorder/camera/adoption.h"

#include "recorder/camera/cameratable.h"
#include "recorder/camera/storagefolder.h"
#include "recorder/run/runlock.h"
#include "recorder/support/error.h"
#include "recorder/support/presence.h"

#include <utility>

namespace recorder {

namespace {

std::optional<CameraRow> RowWithUuid(const std::string& uuid) {
    for (const CameraRow& camera : ListCameras()) {
        if (camera.uuid == uuid) {
            return camera;
        }
    }
    return std::nullopt;
}

// Throws Error if the two folders can't both be adopted.
void RequireNoConflict(const FoundCamera& camera, const FoundCamera& other) {
    if (camera.identity.uuid == other.identity.uuid) {
        throw Error("its identity is in " + other.folder +
                    ", too, so one of them is a copy: adopt only the right folder");
    }
    const std::string overlap = Overlap(camera.folder, other.folder);
    if (!overlap.empty()) {
        throw Error("its folder is " + overlap + " " + other.folder + ", which belongs to " +
                    NameOf(other.identity));
    }
    if (camera.identity.id == other.identity.id && !FindCamera(camera.identity.id)) {
        throw Error("another camera with this id is in " + other.folder +
                    ": adopt only the right folder");
    }
}

// Requires that the identity is no longer in the row's folder.
void RequireMoved(const CameraRow& row) {
    if (FolderPresence(row.storagePath) == Presence::No) {
        return;
    }
    const std::optional<CameraIdentity> before = CameraIdentityIn(row.storagePath);
    if (before && before->uuid == *row.uuid) {
        throw Error("it is a copy: the identity is still in " + row.storagePath);
    }
}

void RequireIdOf(const CameraRow& row, const FoundCamera& camera) {
    if (row.id != camera.identity.id) {
        throw Error("its identity is that of camera " + std::to_string(row.id) + " in " +
                    row.storagePath);
    }
}

void RequireUnidentified(const CameraRow& row, const FoundCamera& camera) {
    const std::string name = NameOf({row.id, row.name, ""}) + " in " + row.storagePath;
    if (row.uuid) {
        throw Error("its id is used by another camera, " + name);
    }
    if (row.dsId != 0 || !IsSameFolder(row.storagePath, camera.folder)) {
        throw Error("its id is used by " + name + ", which has no identity");
    }
}

Adoption Done(const FoundCamera& camera, AdoptionOutcome outcome,
              const std::optional<Volume>& volume, const std::string& remark = {}) {
    return {camera, outcome, remark, volume};
}

// Adopts a camera whose identity is in the table.
Adoption AdoptKnown(CameraRow row, const FoundCamera& camera, const std::optional<Volume>& volume) {
    RequireIdOf(row, camera);
    if (IsSameFolder(row.storagePath, camera.folder)) {
        return Done(camera, AdoptionOutcome::Known, std::nullopt);
    }
    RequireMoved(row);
    const std::string before = std::exchange(row.storagePath, camera.folder);
    row.volumeId = IdOf(volume);
    UpdateCamera(row);
    return Done(camera, AdoptionOutcome::Moved, volume, before);
}

Adoption TakeOver(CameraRow row, const FoundCamera& camera, const std::optional<Volume>& volume) {
    RequireUnidentified(row, camera);
    row.uuid = camera.identity.uuid;
    row.volumeId = volume ? std::optional(volume->id) : row.volumeId;
    UpdateCamera(row);
    return Done(camera, AdoptionOutcome::TakenOver, volume);
}

Adoption AdoptNew(const FoundCamera& camera, const std::optional<Volume>& volume) {
    AddCamera({.id = camera.identity.id,
               .name = camera.identity.name,
               .storagePath = camera.folder,
               .volumeId = IdOf(volume),
               .uuid = camera.identity.uuid});
    return Done(camera, AdoptionOutcome::Added, volume);
}

// Throws Error with the reason if the camera is refused.
Adoption Adopt(const FoundCamera& camera, const std::vector<FoundCamera>& found) {
    for (const FoundCamera& other : found) {
        if (&other != &camera) {
            RequireNoConflict(camera, other);
        }
    }
    RequireOwnFolder(camera.folder, camera.identity.id);
    const std::optional<Volume> volume = VolumeOf(camera.folder);
    if (const std::optional<CameraRow> row = RowWithUuid(camera.identity.uuid)) {
        return AdoptKnown(*row, camera, volume);
    }
    const std::optional<CameraRow> row = FindCamera(camera.identity.id);
    return row ? TakeOver(*row, camera, volume) : AdoptNew(camera, volume);
}

} // namespace

AdoptionReport AdoptCamerasIn(const std::string& folder) {
    AdoptionReport report{{}, FindCamerasIn(folder)};
    const UniqueFd lock = LockCameras();
    const RunLock runLock = RunLock::Take("no camera was adopted");
    (void)ListCameras(); // an unreadable database fails the whole call, not each camera
    for (const FoundCamera& camera : report.search.found) {
        try {
            report.adoptions.push_back(Adopt(camera, report.search.found));
        } catch (const Error& error) {
            report.adoptions.push_back(
                {camera, AdoptionOutcome::Refused, error.what(), std::nullopt});
        }
    }
    return report;
}

} // namespace recorder
