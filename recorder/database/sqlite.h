// SQLite, wrapped: one connection to one database file.

#pragma once

#include "recorder/database/resultset.h"

#include <memory>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace recorder {

struct ExecuteOptions {
    bool readOnly = false;   // refuse statements that would write
    bool transaction = true; // all statements or none
    bool waitForLock = true; // wait for other writers
};

class SqliteDatabase {
public:
    // Opens an existing database file; Create makes it when it is missing. Throws Error.
    [[nodiscard]] static SqliteDatabase Open(const std::string& path, int lockTimeoutMs);
    [[nodiscard]] static SqliteDatabase Create(const std::string& path, int lockTimeoutMs);

    // Runs all statements of `sql` and returns the rows that they yielded. Throws Error; with
    // `transaction` nothing has then changed.
    DBResult_tag Execute(const std::string& sql, const ExecuteOptions& options = {});

private:
    struct Close {
        void operator()(sqlite3* handle) const;
    };

    SqliteDatabase(const std::string& path, int flags, int lockTimeoutMs);

    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

    void Configure();
    [[nodiscard]] Statement PrepareNext(const char*& sql);
    void Run(const Statement& statement, bool readOnly, DBResult_tag& rows);
    void RunPlain(const char* statement);
    [[noreturn]] void Fail(const std::string& attempted);

    std::string m_path;
    int m_lockTimeoutMs;
    std::unique_ptr<sqlite3, Close> m_handle;
};

} // namespace recorder
