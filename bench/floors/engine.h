// The database access of the floors. Each floor is a program for SQLite and one for PostgreSQL.
// They call the engine directly, so that no code of the recorder can slow a floor down.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace floors {

using FileIds = std::unordered_map<std::string, int32_t>;

// Returns the file name in the path of a row.
[[nodiscard]] inline std::string_view BaseName(std::string_view path) {
    return path.substr(path.rfind('/') + 1); // npos + 1 is 0: no folder
}

// A connection to a database. All functions throw std::runtime_error.
class Engine {
public:
    // Opens `address`, a path for SQLite, a connection string for PostgreSQL.
    explicit Engine(const char* address);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    Engine(Engine&&) = delete;
    Engine& operator=(Engine&&) = delete;

    // Executes the statements of a text, and discards their rows.
    void Run(const std::string& sql);

    // Puts the rows of a SELECT of id and path into `ids`, by file name.
    void ReadRows(const std::string& select, FileIds& ids);

private:
    struct Handle;
    std::unique_ptr<Handle> m_handle;
};

} // namespace floors
