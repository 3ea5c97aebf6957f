#include "platform/camera.h"

#include "recorder/camera/cameraidentity.h"
#include "recorder/camera/cameratable.h"
#include "recorder/camera/volume.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/run/taps.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/openfolder.h"

#include <exception>
#include <string>

namespace recorder {

namespace {

// Returns the storage folder of a camera. Throws Error when the camera can't be used.
std::string UsableStoragePath(int id, int dataSource, int revision) {
    const std::string name = "camera " + std::to_string(id);
    if (dataSource != 0 || revision != 0) {
        throw Error("can't load " + name + " of data source " + std::to_string(dataSource) +
                    ", revision " + std::to_string(revision) + ": expected 0 for both");
    }
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
    return path;
}

} // namespace

} // namespace recorder

int Camera::Load(int id, int dataSource, int revision) {
    recorder::TurnToCamera(id);
    return recorder::LogExceptions(-1, [&] {
        try {
            const std::string path = recorder::UsableStoragePath(id, dataSource, revision);
            recorder::ProtectStorageFolder(path);
            m_storagePath = path;
        } catch (const std::exception& error) {
            recorder::NoteRefusal(error.what());
            throw;
        }
        m_id = id;
        return 0;
    });
}

std::list<int> CamGetIdList(bool localOnly, int dataSource) {
    return recorder::LogExceptions(std::list<int>(), [&] {
        std::list<int> ids;
        for (const recorder::CameraRow& camera : recorder::ListCameras()) {
            if (camera.dsId == (localOnly ? 0 : dataSource)) {
                ids.push_back(camera.id);
            }
        }
        return ids;
    });
}
