#include "platform/camera.h"

#include "tests/fakes/call.h"

int Camera::Load(int id, int dataSource, int revision) {
    const int failed = fakes::RecordCall("Camera::Load", id, dataSource, revision);
    if (failed != 0) {
        return failed;
    }
    const auto& cameras = fakes::Platform().cameras;
    const auto found = cameras.find(id);
    if (found == cameras.end()) {
        return -1;
    }
    m_id = id;
    m_storagePath = found->second;
    return 0;
}

std::list<int> CamGetIdList(bool localOnly, int dataSource) {
    fakes::RecordCall("CamGetIdList", localOnly, dataSource);
    const fakes::ScriptedPlatform& platform = fakes::Platform();
    if (platform.cameraIds) {
        return *platform.cameraIds;
    }
    std::list<int> ids;
    for (const auto& [id, folder] : platform.cameras) {
        ids.push_back(id);
    }
    return ids;
}
