#include "recorder/recording/evidence.h"

#include "platform/camera.h"
#include "platform/utility.h"
#include "recorder/database/databases.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/medianames.h"
#include "recorder/support/openfolder.h"
#include "recorder/support/presence.h"

#include <cstdlib>
#include <map>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace recorder {

namespace {

// A number of more than 32 bits is not a camera's id, and must not be narrowed to one.
int CameraIdOf(const char* text) {
    const int camId = static_cast<int>(std::strtol(text, nullptr, 10));
    if (std::to_string(camId) != text) {
        throw Error(std::string("there is no camera ") + text);
    }
    return camId;
}

using Names = std::vector<std::string_view>;
using NamesByFolder = std::map<std::string_view, Names>;

DBResult_tag SelectFiles(const std::string& table, const std::string& rows) {
    return Execute(KRDB::DB_RECORDING,
                   "SELECT " + table + ".camera_id, " + table + ".path FROM " + rows + ";",
                   {.readOnly = true});
}

// The folders and files that the rows name, by camera. Folders are relative to the folder that
// holds the half-day folders. The texts are those of `rows`. A row without a path names no file.
std::map<int, NamesByFolder> NamedFiles(const DBResult_tag& rows) {
    std::map<int, NamesByFolder> files;
    Names* names = nullptr; // of the previous row: most often the next row has the same folder
    std::string_view camera;
    std::string_view folder;
    for (int row = 0; row < rows.RowCount(); ++row) {
        const char* const field = rows.Field(row, 1);
        const std::string_view path = field == nullptr ? std::string_view() : field;
        const std::size_t nameAt = path.rfind('/') + 1; // npos + 1 is 0: no folder
        const std::string_view itsFolder = path.substr(0, nameAt == 0 ? 0 : nameAt - 1);
        if (names == nullptr || rows.Field(row, 0) != camera || itsFolder != folder) {
            camera = rows.Field(row, 0);
            folder = itsFolder;
            names = &files[CameraIdOf(rows.Field(row, 0))][folder];
        }
        names->push_back(path.substr(nameAt));
    }
    return files;
}

std::string RecordingFolder(int camId, const std::string& subFolder) {
    Camera camera;
    if (camera.Load(camId, 0, 0) != 0) {
        throw Error("camera " + std::to_string(camId) + " can't be loaded");
    }
    const std::string storage = camera.GetStoragePath();
    return subFolder.empty() ? storage : storage + "/" + subFolder;
}

// Requires that the folder is completely readable or truly absent, and that no file and no link in
// it has one of these names. A recording that a run missed because of a temporary failure is not
// gone, nor is one that was moved and linked to. Returns whether the folder exists.
bool RequireGone(const std::string& folder, const Names& names) {
    std::unordered_set<std::string_view> doomed; // the names, filled at the first file
    const FolderListing listing = ListFolder(folder, [&](const FolderEntry& entry) {
        if (!entry.isRegularFile && !entry.isLink) {
            return true;
        }
        if (doomed.empty()) {
            doomed.insert(names.begin(), names.end());
        }
        if (doomed.contains(entry.name)) {
            throw Error((entry.isLink ? "the symbolic link " : "the file ") + folder + "/" +
                        entry.name + " exists");
        }
        return true;
    });
    return listing != FolderListing::Absent;
}

// Returns whether the tool searches this folder, so that a link on the way to it would be in place
// of a folder with recordings.
bool IsWithinWalked(std::string_view folder) {
    return IsHalfDayName(folder.substr(0, folder.find('/')));
}

// Requires that a folder behind a link, where the tool does not search for recordings, exists or is
// truly absent. If the link leads nowhere, a disk may be missing.
void RequireNoDoubt(const std::string& folder) {
    if (ExistingPart(folder) == folder) {
        RequireFolder(folder);
    }
}

// Requires the same for all folders and files that the rows of one camera name. `root` is the
// folder that holds the half-day folders.
void RequireGone(const std::string& root, const NamesByFolder& files) {
    if (!RequireGone(root, Names())) {
        return; // the folder is absent, and so is everything in it
    }
    for (const auto& [view, names] : files) {
        const std::string folder = view.empty() ? root : root + "/" + std::string(view);
        try {
            RequireGone(folder, IsHalfDayName(std::string(view)) ? names : Names());
        } catch (const LinkInPath&) {
            if (IsWithinWalked(view)) {
                throw; // the recordings may be behind the link, or on a disk that is not mounted
            }
            RequireNoDoubt(folder);
        }
    }
}

} // namespace

Evidence::Evidence(const std::string& table, const std::string& rows, std::string subFolder)
    : m_rows(SelectFiles(table, rows)), m_files(NamedFiles(m_rows)),
      m_subFolder(std::move(subFolder)) {}

void Evidence::Require() const {
    for (const auto& [camId, files] : m_files) {
        RequireGone(RecordingFolder(camId, m_subFolder), files);
    }
}

void Evidence::AddRows(RowsByCamera& rows) const {
    for (const auto& [camId, files] : m_files) {
        for (const auto& [folder, names] : files) {
            rows[std::to_string(camId)] += static_cast<long>(names.size());
        }
    }
}

} // namespace recorder
