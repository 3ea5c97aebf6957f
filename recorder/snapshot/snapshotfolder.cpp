#include "platform/snapshot.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/settings/settings.h"
#include "recorder/support/medianames.h"

std::string GetSnapshotFullPath() {
    return recorder::LogExceptions(std::string(),
                                   [] { return recorder::GetSettings().snapshot.folder; });
}

std::string GetRecThmbnailDirPath(const std::string& storagePath) {
    return storagePath + "/" + recorder::kThumbnailDirName;
}
