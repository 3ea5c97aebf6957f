// A connection of the tests' own to the server that they run on.

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

struct pg_conn;

namespace contract {

// The address of the server that tests/postgresql/server.py started, from the environment.
std::string ServerDsn();

// The directory of its socket, by which the server is told to stop and to start again.
std::string ServerFolder();
void StopServer();
void StartServer();

class PostgresConnection {
public:
    explicit PostgresConnection(const std::string& dsn);

    // Runs a text of statements and returns the rows of the last one. An exception tells of its
    // failure.
    std::vector<std::vector<std::optional<std::string>>> Run(const std::string& sql);

    // The server's process for this connection.
    [[nodiscard]] int ServerPid() const;

private:
    struct Close {
        void operator()(pg_conn* connection) const;
    };

    std::unique_ptr<pg_conn, Close> m_connection;
};

} // namespace contract
