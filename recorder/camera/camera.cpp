#include "platform/camera.h"

#include "recorder/camera/cameratable.h"
#include "recorder/camera/usablestorage.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/run/taps.h"
#include "recorder/support/error.h"

#include <exception>
#include <string>

namespace recorder {

namespace {

// This recorder has one data source and one revision of the settings.
void RequireZero(int id, int dataSource, int revision) {
    if (dataSource != 0 || revision != 0) {
        throw Error("can't load camera " + std::to_string(id) + " of data source " +
                    std::to_string(dataSource) + ", revision " + std::to_string(revision) +
                    ": expected 0 for both");
    }
}

} // namespace

} // namespace recorder

int Camera::Load(int id, int dataSource, int revision) {
    recorder::TurnToCamera(id);
    return recorder::LogExceptions(-1, [&] {
        try {
            recorder::RequireZero(id, dataSource, revision);
            m_storagePath = recorder::UsableStoragePath(id);
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
