// Files and folders of tests.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace contract {

// Writes a file, and creates the folders above it.
void PutFile(const std::filesystem::path& path, const std::string& bytes = "x");

std::string ReadFile(const std::filesystem::path& path);

// The names of a folder's entries, sorted.
std::vector<std::string> NamesIn(const std::filesystem::path& folder);

// A folder that can't be listed until the object is destroyed, provided that the process obeys
// permissions (ObeyPermissions).
class UnreadableFolder {
public:
    explicit UnreadableFolder(std::filesystem::path path);
    ~UnreadableFolder();
    UnreadableFolder(const UnreadableFolder&) = delete;
    UnreadableFolder& operator=(const UnreadableFolder&) = delete;
    UnreadableFolder(UnreadableFolder&&) = delete;
    UnreadableFolder& operator=(UnreadableFolder&&) = delete;

private:
    std::filesystem::path m_path;
};

// The bytes of a recording or picture that tests/contract/make-media created.
std::string Media(const std::string& name);

// The bytes of a picture in tests/contract/pictures.
std::string Picture(const std::string& name);

} // namespace contract
