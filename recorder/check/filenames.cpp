#include "recorder/check/filenames.h"

#include "recorder/database/mediaselection.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/medianames.h"

#include <algorithm>
#include <functional>
#include <map>
#include <unordered_set>

namespace recorder {

namespace {

std::string_view NameOf(std::string_view path) {
    return path.substr(path.rfind('/') + 1); // npos + 1 is 0
}

std::vector<std::string> HalfDayFolders(const std::string& root) {
    std::vector<std::string> folders;
    ListFolder(root, [&](const FolderEntry& entry) {
        if (IsHalfDayName(entry.name) && (entry.isFolder || entry.isLink)) {
            folders.push_back(entry.name);
        }
        return true;
    });
    return folders;
}

std::string PathIn(const std::string& folder, const std::string& name) {
    return folder.empty() || name.empty() ? folder + name : folder + "/" + name;
}

} // namespace

// Calls `take` with the folder, as in rows, and the name of each regular file.
template <typename Take> void FileNames::ForEachFile(const Take& take) {
    const std::vector<std::string> folders =
        HasCameras(m_table) ? HalfDayFolders(m_root) : std::vector<std::string>{""};
    for (const std::string& folder : folders) {
        try {
            ListFolder(PathIn(m_root, folder), [&](const FolderEntry& entry) {
                if (entry.isRegularFile) {
                    take(folder, entry.name);
                }
                return true;
            });
        } catch (const Error& error) {
            m_problems.insert(error.what());
            m_notListed.insert(PathIn(m_root, folder));
        }
    }
}

void FileNames::Read(const std::vector<MissingFile>& missing) {
    std::unordered_set<std::string_view> names;
    for (const MissingFile& file : missing) {
        names.insert(NameOf(file.path));
    }
    ForEachFile([&](const std::string& folder, const std::string& name) {
        m_hashes.push_back(std::hash<std::string>()(name));
        if (const auto found = names.find(name); found != names.end()) {
            m_places.emplace(*found, folder);
        }
    });
    std::sort(m_hashes.begin(), m_hashes.end());
}

std::vector<std::string> FileNames::PathsOf(const MissingFile& missing) const {
    const std::string name(NameOf(missing.path));
    std::vector<std::string> paths;
    const auto [begin, end] = m_places.equal_range(name);
    for (auto place = begin; place != end; ++place) {
        paths.push_back(PathIn(place->second, name));
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::vector<std::vector<std::string>> FileNames::InSeveralFolders() {
    std::unordered_set<std::uint64_t> repeated;
    for (std::size_t i = 1; i < m_hashes.size(); ++i) {
        if (m_hashes[i] == m_hashes[i - 1]) {
            repeated.insert(m_hashes[i]);
        }
    }
    std::map<std::string, std::vector<std::string>> paths;
    if (!repeated.empty()) {
        ForEachFile([&](const std::string& folder, const std::string& name) {
            if (repeated.contains(std::hash<std::string>()(name))) {
                paths[name].push_back(PathIn(folder, name));
            }
        });
    }
    std::vector<std::vector<std::string>> several;
    for (auto& [name, places] : paths) {
        if (places.size() > 1) {
            several.push_back(std::move(places));
        }
    }
    return several;
}

} // namespace recorder
