// Files and folders that tests put on the disk and look at.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace contract {

// Writes a file and the folders above it.
void PutFile(const std::filesystem::path& path, const std::string& bytes = "x");

std::string ReadFile(const std::filesystem::path& path);

// The names of a folder's entries, sorted.
std::vector<std::string> NamesIn(const std::filesystem::path& folder);

// A folder that can't be listed (ObeyPermissions provided) until the object goes.
class LockedFolder {
public:
    explicit LockedFolder(std::filesystem::path path);
    ~LockedFolder();
    LockedFolder(const LockedFolder&) = delete;
    LockedFolder& operator=(const LockedFolder&) = delete;
    LockedFolder(LockedFolder&&) = delete;
    LockedFolder& operator=(LockedFolder&&) = delete;

private:
    std::filesystem::path m_path;
};

// A picture or recording that the build made for the tests, or that lies in
// tests/contract/pictures.
std::string Media(const std::string& name);
std::string Picture(const std::string& name);

} // namespace contract
