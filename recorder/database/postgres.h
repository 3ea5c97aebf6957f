// The wrapper of libpq: one connection to one schema, which has all of the recorder's tables.

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
    // Connects like OpenPostgres.
    PostgresDatabase(PostgresSettings settings, int lockTimeoutMs,
                     PostgresAccess access = PostgresAccess::Write);

    [[nodiscard]] const std::string& Name() const override { return m_name; }
    using Database::Execute;

    // Connects again, once, if the connection was lost since the last call. Throws Error if it is
    // lost within the call: it is unknown then whether the transaction took effect. After a server
    // could not be reached or gave no response in time, all calls of this process fail at once for
    // ten times as long as the wait took.
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
    void EndStatementsWithClient();
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
    RunIdentity m_run; // to which changes are attributed
    std::vector<std::string> m_tables;
    std::chrono::milliseconds m_answerTimeout{0};
    Connection m_connection;
};

} // namespace recorder
