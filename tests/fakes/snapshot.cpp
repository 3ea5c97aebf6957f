#include "platform/snapshot.h"

#include "tests/fakes/call.h"

std::string GetSnapshotFullPath() {
    fakes::RecordCall("GetSnapshotFullPath");
    return fakes::Platform().snapshotFolder;
}

std::string ReindexSnapshotSql(const std::string& fullPath, const std::string& fileName,
                               int64_t startTm, int size) {
    fakes::RecordCall("ReindexSnapshotSql", fullPath, fileName, startTm, size);
    return "INSERT INTO snapshot VALUES ('" + fileName + "', " + std::to_string(startTm) + ", " +
           std::to_string(size) + ");";
}

int CreateThumbnail(const std::string& fullPath) {
    return fakes::RecordCall("CreateThumbnail", fullPath);
}

std::string GetRecThmbnailDirPath(const std::string& storagePath) {
    fakes::RecordCall("GetRecThmbnailDirPath", storagePath);
    return storagePath + "/@Thumbnail";
}
