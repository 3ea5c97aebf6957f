#include "recorder/camera/adoption.h"

#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/medianames.h"
#include "recorder/support/presence.h"

#include <algorithm>

#include <sys/stat.h>

namespace recorder {

namespace {

constexpr int kLevels = 5;

bool IsSearched(const std::string& name) {
    return !name.starts_with('.') && name != kThumbnailDirName && name != kAlertRecordingDirName &&
           !IsHalfDayName(name);
}

dev_t FileSystemOf(const std::string& folder) {
    struct stat64 st = {};
    if (stat64(folder.c_str(), &st) != 0) {
        throw SystemError("examine the folder " + folder);
    }
    return st.st_dev;
}

class Search {
public:
    explicit Search(const std::string& root) : m_fileSystem(FileSystemOf(root)) {
        SearchIn(root, kLevels);
    }

    [[nodiscard]] CameraSearch Result() && { return std::move(m_result); }

private:
    void SearchIn(const std::string& folder, int levels) {
        NotingObstacles([&] { ReadIdentity(folder); });
        if (levels == 0) {
            return;
        }
        const std::string prefix = folder.ends_with('/') ? folder : folder + "/";
        for (const std::string& name : FoldersIn(folder)) {
            NotingObstacles([&] { SearchBelow(prefix + name, levels - 1); });
        }
    }

    void ReadIdentity(const std::string& folder) {
        if (const std::optional<CameraIdentity> identity = CameraIdentityIn(folder)) {
            m_result.found.push_back({*identity, folder});
        }
    }

    std::vector<std::string> FoldersIn(const std::string& folder) {
        std::vector<std::string> names;
        NotingObstacles([&] {
            ListFolder(folder, [&](const FolderEntry& entry) {
                if (entry.isFolder && IsSearched(entry.name)) {
                    names.push_back(entry.name);
                }
                return true;
            });
        });
        std::sort(names.begin(), names.end());
        return names;
    }

    void SearchBelow(const std::string& folder, int levels) {
        if (FileSystemOf(folder) == m_fileSystem) {
            SearchIn(folder, levels);
        } else {
            m_result.otherFileSystems.push_back(folder);
        }
    }

    template <typename Action> void NotingObstacles(const Action& action) {
        try {
            action();
        } catch (const Error& error) {
            m_result.obstacles.emplace_back(error.what());
        }
    }

    dev_t m_fileSystem;
    CameraSearch m_result;
};

} // namespace

CameraSearch FindCamerasIn(const std::string& folder) {
    RequireFolder(folder);
    return Search(folder).Result();
}

} // namespace recorder
