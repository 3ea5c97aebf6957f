#include "tests/contract/support/files.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace contract {

namespace fs = std::filesystem;

namespace {

std::string ReadFrom(const char* variable, const std::string& name) {
    const char* const folder = std::getenv(variable);
    if (folder == nullptr) {
        throw std::runtime_error(std::string(variable) + " is not set to a folder");
    }
    return ReadFile(fs::path(folder) / name);
}

} // namespace

void PutFile(const fs::path& path, const std::string& bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    if (!file.flush()) {
        throw std::runtime_error("can't write " + path.string());
    }
}

std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("can't read " + path.string());
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> NamesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

UnreadableFolder::UnreadableFolder(fs::path path) : m_path(std::move(path)) {
    fs::permissions(m_path, fs::perms::none);
}

UnreadableFolder::~UnreadableFolder() {
    std::error_code ignored;
    fs::permissions(m_path, fs::perms::owner_all, ignored);
}

std::string Media(const std::string& name) {
    return ReadFrom("KESTORA_TEST_MEDIA", name);
}

std::string Picture(const std::string& name) {
    return ReadFrom("KESTORA_TEST_PICTURES", name);
}

} // namespace contract
