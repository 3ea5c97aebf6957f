#include "bench/floors/engine.h"

#include <stdexcept>

#include <sqlite3.h>

namespace floors {

struct Engine::Handle {
    sqlite3* database = nullptr;
};

namespace {

void Check(int outcome, int expected, sqlite3* database) {
    if (outcome != expected) {
        throw std::runtime_error(sqlite3_errmsg(database));
    }
}

std::string_view Text(sqlite3_stmt* statement, int column) {
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))};
}

} // namespace

// Sets the same pragmas as the recorder, because a floor that flushes less is not comparable.
Engine::Engine(const char* address) : m_handle(std::make_unique<Handle>()) {
    Check(sqlite3_open_v2(address, &m_handle->database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                          nullptr),
          SQLITE_OK, m_handle->database);
    Run("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA foreign_keys = ON");
}

Engine::~Engine() {
    sqlite3_close(m_handle->database);
}

void Engine::Run(const std::string& sql) {
    Check(sqlite3_exec(m_handle->database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK,
          m_handle->database);
}

void Engine::ReadRows(const std::string& select, FileIds& ids) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(m_handle->database, select.c_str(), -1, &statement, nullptr),
          SQLITE_OK, m_handle->database);
    const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> owner(statement,
                                                                           sqlite3_finalize);
    int outcome = sqlite3_step(statement);
    for (; outcome == SQLITE_ROW; outcome = sqlite3_step(statement)) {
        ids.try_emplace(std::string(BaseName(Text(statement, 1))),
                        sqlite3_column_int(statement, 0));
    }
    Check(outcome, SQLITE_DONE, m_handle->database);
}

} // namespace floors
