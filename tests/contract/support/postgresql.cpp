#include "tests/contract/support/postgresql.h"

#include "tests/contract/support/files.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include <libpq-fe.h>
#include <unistd.h>

namespace contract {

namespace {

constexpr useconds_t kPollUs = 10000;

} // namespace

std::string ServerDsn() {
    const char* const dsn = std::getenv("KESTORA_TEST_DSN");
    if (dsn == nullptr) {
        throw std::runtime_error("KESTORA_TEST_DSN is not set; use tests/postgresql/server.py");
    }
    return dsn;
}

std::string ServerFolder() {
    const std::string dsn = ServerDsn();
    return dsn.substr(dsn.find("host=") + std::string_view("host=").size());
}

void StopServer() {
    PutFile(ServerFolder() + "/down");
    while (std::filesystem::exists(ServerFolder() + "/data/postmaster.pid")) {
        usleep(kPollUs);
    }
}

void StartServer() {
    std::filesystem::remove(ServerFolder() + "/down");
    while (PQping(ServerDsn().c_str()) != PQPING_OK) {
        usleep(kPollUs);
    }
}

PostgresConnection::PostgresConnection(const std::string& dsn)
    : m_connection(PQconnectdb(dsn.c_str())) {
    if (PQstatus(m_connection.get()) != CONNECTION_OK) {
        throw std::runtime_error(PQerrorMessage(m_connection.get()));
    }
    PQsetNoticeProcessor(
        m_connection.get(), [](void* /*of*/, const char* /*notice*/) {}, nullptr);
}

std::vector<std::vector<std::optional<std::string>>>
PostgresConnection::Run(const std::string& sql) {
    const std::unique_ptr<PGresult, void (*)(PGresult*)> result(
        PQexec(m_connection.get(), sql.c_str()), PQclear);
    const ExecStatusType status = PQresultStatus(result.get());
    if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) {
        throw std::runtime_error(PQresultErrorMessage(result.get()));
    }
    std::vector<std::vector<std::optional<std::string>>> rows;
    for (int row = 0; row < PQntuples(result.get()); ++row) {
        rows.emplace_back();
        for (int column = 0; column < PQnfields(result.get()); ++column) {
            rows.back().emplace_back(PQgetvalue(result.get(), row, column));
            if (PQgetisnull(result.get(), row, column) != 0) {
                rows.back().back().reset();
            }
        }
    }
    return rows;
}

int PostgresConnection::ServerPid() const {
    return PQbackendPID(m_connection.get());
}

void PostgresConnection::Close::operator()(pg_conn* connection) const {
    PQfinish(connection);
}

} // namespace contract
