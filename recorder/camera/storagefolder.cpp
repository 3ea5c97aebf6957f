#include "recorder/camera/storagefolder.h"

#include "platform/utility.h"
#include "recorder/camera/cameraidentity.h"
#include "recorder/support/error.h"
#include "recorder/support/presence.h"

namespace recorder {

namespace {

bool IsInside(const std::string& folder, const std::string& other) {
    return folder.starts_with(other.ends_with('/') ? other : other + "/");
}

// Returns a dangling link unchanged, because it can't lead to the other folder.
std::string ResolvedOrPlain(const std::string& folder) {
    try {
        return ResolvedPath(folder);
    } catch (const Error&) {
        if (FolderPresence(folder) == Presence::No) {
            return folder;
        }
        throw;
    }
}

// True if the path in the row leads to another camera's folder, as when two disks were swapped.
bool LeadsToAnotherCamera(const CameraRow& camera) {
    const std::optional<CameraIdentity> identity = CameraIdentityIn(camera.storagePath);
    return camera.uuid && identity && identity->uuid != *camera.uuid;
}

void RequireApart(const std::string& folder, const CameraRow& camera) {
    if (camera.dsId != 0 || !camera.storagePath.starts_with('/')) {
        return; // recorded by another recorder
    }
    const std::string overlap = Overlap(folder, camera.storagePath);
    if (!overlap.empty() && !LeadsToAnotherCamera(camera)) {
        throw Error(folder + " is " + overlap + " the storage folder of " +
                    NameOf({camera.id, camera.name, ""}) + ", " + camera.storagePath +
                    "; expected a separate folder");
    }
}

// Also finds cameras that are not in the table.
void RequireNoIdentityAbove(const std::string& folder) {
    for (std::string above = ResolvedPath(folder); above != "/";) {
        above = GetDirPath(above);
        if (const std::optional<CameraIdentity> identity = CameraIdentityIn(above)) {
            throw Error(folder + " is inside " + above + ", which belongs to " + NameOf(*identity) +
                        "; expected a separate folder");
        }
    }
}

} // namespace

bool IsSameFolder(const std::string& a, const std::string& b) {
    return ResolvedOrPlain(a) == ResolvedOrPlain(b);
}

std::string Overlap(const std::string& folder, const std::string& other) {
    const std::string a = ResolvedPath(folder);
    const std::string b = ResolvedOrPlain(other);
    if (a == b) {
        return "the same as";
    }
    return IsInside(a, b) ? "inside" : (IsInside(b, a) ? "around" : "");
}

void RequireOwnFolder(const std::string& folder, int id) {
    for (const CameraRow& camera : ListCameras()) {
        if (camera.id != id) {
            RequireApart(folder, camera);
        }
    }
    RequireNoIdentityAbove(folder);
}

} // namespace recorder
