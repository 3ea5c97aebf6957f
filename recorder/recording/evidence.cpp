#include "recorder/recording/evidence.h"

#include "platform/camera.h"
#include "platform/utility.h"
#include "recorder/database/databases.h"
#include "recorder/support/error.h"
#include "recorder/utility/folder.h"

#include <cstdlib>
#include <map>
#include <set>

#include <sys/stat.h>

namespace recorder {

namespace {

// A number beyond 32 bits is no camera, and must not become another one's.
int CameraIdOf(const char* text) {
    const int camId = static_cast<int>(std::strtol(text, nullptr, 10));
    if (std::to_string(camId) != text) {
        throw Error(std::string("no row is removed: there is no camera ") + text);
    }
    return camId;
}

// Camera id to the folders, within its half-day folders' folder, that the rows name. A row without
// a path names none.
std::map<int, std::set<std::string>> NamedFolders(const std::string& table,
                                                  const std::string& condition) {
    const DBResult_tag rows = Execute(
        KRDB::DB_RECORDING, "SELECT camera_id, path FROM " + table + " WHERE " + condition + ";",
        {.readOnly = true});
    std::map<int, std::set<std::string>> folders;
    for (int row = 0; row < rows.RowCount(); ++row) {
        const int camId = CameraIdOf(rows.Field(row, 0));
        const char* const path = rows.Field(row, 1);
        folders[camId].insert(path == nullptr ? "" : GetDirPath(path));
    }
    return folders;
}

std::string RecordingFolder(int camId, const std::string& subFolder) {
    Camera camera;
    if (camera.Load(camId, 0, 0) != 0) {
        throw Error("no row is removed: camera " + std::to_string(camId) + " can't be loaded");
    }
    const std::string storage = camera.GetStoragePath();
    return subFolder.empty() ? storage : storage + "/" + subFolder;
}

// A link whose target is gone: an unmounted disk, not a folder that was removed.
bool IsLink(const std::string& path) {
    struct stat64 st = {};
    return lstat64(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode);
}

void DemandReadableOrAbsent(const std::string& folder) {
    try {
        const FolderListing listing = ListFolder(folder, [](const FolderEntry&) { return true; });
        if (listing == FolderListing::Absent && IsLink(folder)) {
            throw Error("the link " + folder + " leads nowhere");
        }
    } catch (const Error& error) {
        throw Error(std::string("no row is removed: ") + error.what());
    }
}

} // namespace

void DemandEvidence(const std::string& table, const std::string& condition,
                    const std::string& subFolder) {
    for (const auto& [camId, folders] : NamedFolders(table, condition)) {
        const std::string root = RecordingFolder(camId, subFolder);
        DemandReadableOrAbsent(root);
        for (const std::string& folder : folders) {
            DemandReadableOrAbsent(folder.empty() ? root : root + "/" + folder);
        }
    }
}

} // namespace recorder
