// SQLite, wrapped: one connection to one database file.

#pragma once

#include "recorder/database/database.h"

#include <memory>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace recorder {

class SqliteDatabase final : public Database {
public:
    // Opens an existing database file; Create makes it when it is missing. Throws Error.
    [[nodiscard]] static SqliteDatabase Open(const std::string& path, int lockTimeoutMs);
    [[nodiscard]] static SqliteDatabase Create(const std::string& path, int lockTimeoutMs);

    ~SqliteDatabase() override;
    SqliteDatabase(const SqliteDatabase&) = delete;
    SqliteDatabase& operator=(const SqliteDatabase&) = delete;
    SqliteDatabase(SqliteDatabase&& other) noexcept;
    SqliteDatabase& operator=(SqliteDatabase&& other) noexcept;

    [[nodiscard]] const std::string& Name() const override { return m_name; }
    using Database::Execute;
    DBResult_tag Execute(const std::string& sql, const ExecuteOptions& options) override;
    [[nodiscard]] long SchemaVersion() override;
    void ApplySchema(const std::string& sql, long version) override;
    void AttributeTo(long run, const std::vector<MediaTable>& tables) override;

private:
    struct Close {
        void operator()(sqlite3* handle) const;
    };

    SqliteDatabase(const std::string& path, int flags, int lockTimeoutMs);

    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

    struct Attribution;

    void Configure();
    [[nodiscard]] Statement PrepareNext(const char*& sql);
    void Run(const Statement& statement, bool readOnly, DBResult_tag& rows);
    void RunPlain(const char* statement);
    void WriteCounts(int camId);
    [[noreturn]] void Fail(const std::string& attempted);

    std::string m_name;
    int m_lockTimeoutMs;
    std::unique_ptr<Attribution> m_attribution; // SQLite holds a pointer to it
    std::unique_ptr<sqlite3, Close> m_handle;
};

} // namespace recorder
