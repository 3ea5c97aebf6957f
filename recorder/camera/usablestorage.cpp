#include "recorder/camera/usablestorage.h"

#include "recorder/camera/cameraidentity.h"
#include "recorder/camera/cameratable.h"
#include "recorder/camera/volume.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/openfolder.h"

#include <optional>

namespace recorder {

std::string UsableStoragePath(int id) {
    const std::string name = "camera " + std::to_string(id);
    const std::optional<CameraRow> row = FindCamera(id);
    if (!row) {
        throw Error("can't load " + name + ": no such camera");
    }
    std::string path = WithoutTrailingSlashes(row->storagePath);
    if (!path.starts_with('/')) {
        throw Error("can't load " + name + ": its storage folder is \"" + path +
                    "\"; expected an absolute path");
    }
    if (row->volumeId) {
        RequireVolume(path, *row->volumeId,
                      row->uuid ? OtherMounts::Allowed : OtherMounts::Refused);
    }
    if (row->uuid) {
        RequireIdentity(path, *row->uuid);
    }
    ProtectStorageFolder(path);
    return path;
}

} // namespace recorder
