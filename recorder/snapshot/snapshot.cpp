#include "platform/snapshot.h"
#include "recorder/database/sqltext.h"
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

std::string ReindexSnapshotSql(const std::string& /*fullPath*/, const std::string& fileName,
                               int64_t startTm, int size) {
    return "INSERT INTO snapshot (filename, start_tm, size) VALUES (" + recorder::Quote(fileName) +
           ", " + std::to_string(startTm) + ", " + std::to_string(size) +
           ") ON CONFLICT (filename) DO UPDATE SET start_tm = excluded.start_tm, "
           "size = excluded.size;";
}
