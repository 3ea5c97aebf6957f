#include "tests/contract/support/postgresql.h"

#include <cstdlib>
#include <stdexcept>

#include <libpq-fe.h>

namespace contract {

std::string ServerDsn() {
    const char* const dsn = std::getenv("KESTORA_TEST_DSN");
    if (dsn == nullptr) {
        throw std::runtime_error("no KESTORA_TEST_DSN: start it by tests/postgresql/server.py");
    }
    return dsn;
}

PostgresConnection::PostgresConnection(const std::string& dsn)
    : m_connection(PQconnectdb(dsn.c_str())) {
    if (PQstatus(m_connection.get()) != CONNECTION_OK) {
        throw std::runtime_error(PQerrorMessage(m_connection.get()));
    }
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
