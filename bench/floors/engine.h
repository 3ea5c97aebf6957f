// What the floors ask of a database. There is a program of each floor for SQLite and one for
// PostgreSQL; they call the engine itself, so that nothing of the recorder's can slow a floor down.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace floors {

using FileIds = std::unordered_map<std::string, int32_t>;

// The name of the file in the path of a row.
[[nodiscard]] inline std::string_view BaseName(std::string_view path) {
    return path.substr(path.rfind('/') + 1); // npos + 1 is 0: no folder
}

// Everything throws std::runtime_error.
class Engine {
public:
    // A path on SQLite, a connection string on PostgreSQL.
    explicit Engine(const char* address);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    Engine(Engine&&) = delete;
    Engine& operator=(Engine&&) = delete;

    // Runs the statements of a text; their rows are dropped.
    void Run(const std::string& sql);

    // Puts the rows of a SELECT of id and path into `ids`, by file name.
    void ReadRows(const std::string& select, FileIds& ids);

private:
    struct Handle;
    std::unique_ptr<Handle> m_handle;
};

} // namespace floors
