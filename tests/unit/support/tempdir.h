// A temporary folder, which is removed at the end of its test.

#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace unit {

class TempDir {
public:
    TempDir() : m_path(std::filesystem::temp_directory_path() / "reindex-unit-XXXXXX") {
        if (mkdtemp(m_path.data()) == nullptr) {
            throw std::runtime_error("can't create a temporary folder");
        }
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    TempDir(TempDir&&) = delete;
    TempDir& operator=(TempDir&&) = delete;

    [[nodiscard]] const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

} // namespace unit
