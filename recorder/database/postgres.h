// PostgreSQL, wrapped: one connection, one schema. All of the recorder's tables lie in it.

#pragma once

#include "recorder/database/openpostgres.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

struct pg_conn;
struct pg_result;

namespace recorder {

class PostgresDatabase final : public Database {
public:
    // Connects, as OpenPostgres says.
    PostgresDatabase(PostgresSettings settings, int lockTimeoutMs,
                     PostgresAccess access = PostgresAccess::Write);

    [[nodiscard]] const std::string& Name() const override { return m_name; }
    using Database::Execute;

    // A connection that was lost since the last call is made again, once. One that is lost within
    // the call is a failure: whether the transaction took effect isn't known then. After a server
    // could not be reached, or did not answer in time, calls of this process fail at once for ten
    // times as long as was waited for it.
    DBResult_tag Execute(const std::string& sql, const ExecuteOptions& options) override;
    [[nodiscard]] std::string HasIdOf(const std::string& ids) const override;
    [[nodiscard]] std::string RaiseIdsSql(const std::string& table, long highest) const override;
    [[nodiscard]] long SchemaVersion() override;
    void ApplySchema(const std::string& sql, long version) override;
    void AttributeTo(const RunIdentity& run, const std::vector<MediaTable>& tables) override;

private:
    struct Close {
        void operator()(pg_conn* connection) const;
    };
    using Connection = std::unique_ptr<pg_conn, Close>;
    struct Clear {
        void operator()(pg_result* result) const;
    };
    using Result = std::unique_ptr<pg_result, Clear>;

    void CreateSchema();
    void RequireConnection();
    void Connect();
    void OpenConnection();
    void SetUpSession();
    void CheckEncoding();
    [[nodiscard]] bool IsConnected();
    [[nodiscard]] std::string SessionSql() const;
    [[nodiscard]] std::string RunCountsSql() const;

    void RunTransaction(const std::string& sql, const ExecuteOptions& options, DBResult_tag& rows);
    void RunPlain(const std::string& sql);
    void Rollback();
    void Send(const std::string& sql);
    void Collect(const std::string& sql, DBResult_tag& rows);
    [[nodiscard]] Result NextResult();
    void AwaitServer(short events);
    [[noreturn]] void FailConnection(const std::string& attempted);

    std::string m_name;
    PostgresSettings m_settings;
    int m_lockTimeoutMs;
    PostgresAccess m_access;
    RunIdentity m_run; // that what is done is attributed to
    std::vector<std::string> m_tables;
    std::chrono::milliseconds m_answerTimeout{0};
    Connection m_connection;
};

} // namespace recorder
