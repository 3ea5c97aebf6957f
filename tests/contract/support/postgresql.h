// The tests' own access to the PostgreSQL server that they run on.

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

struct pg_conn;

namespace contract {

// The address of the server that tests/postgresql/server.py started, from the environment.
std::string ServerDsn();

// The folder of the server's socket. server.py stops the server while it contains a file "down".
std::string ServerFolder();

// Stop and start the server; both return when it is done.
void StopServer();
void StartServer();

class PostgresConnection {
public:
    explicit PostgresConnection(const std::string& dsn);

    // Executes a text of statements and returns the rows of the last one. Throws if one fails.
    std::vector<std::vector<std::optional<std::string>>> Run(const std::string& sql);

    // The process id of the server's process for this connection.
    [[nodiscard]] int ServerPid() const;

private:
    struct Close {
        void operator()(pg_conn* connection) const;
    };

    std::unique_ptr<pg_conn, Close> m_connection;
};

} // namespace contract
