#include "bench/floors/engine.h"

#include <algorithm>
#include <span>
#include <stdexcept>

#include <libpq-fe.h>

namespace floors {

struct Engine::Handle {
    PGconn* connection = nullptr;
};

namespace {

constexpr std::size_t kSignatureBytes = 11; // of a binary COPY, before flags and extension

using Result = std::unique_ptr<PGresult, decltype(&PQclear)>;

void Check(const Result& result, ExecStatusType expected) {
    if (PQresultStatus(result.get()) != expected) {
        throw std::runtime_error(PQresultErrorMessage(result.get()));
    }
}

// Takes a number, most significant byte first, off the front of `bytes`.
template <typename Number> Number Take(std::span<const char>& bytes) {
    Number number = 0;
    if (bytes.size() < sizeof number) {
        throw std::runtime_error("a row is cut short");
    }
    for (const char byte : bytes.first(sizeof number)) {
        number = static_cast<Number>(number << 8) | static_cast<unsigned char>(byte);
    }
    bytes = bytes.subspan(sizeof number);
    return number;
}

// Each message is a row. The first one begins with the header, and the last one is the end mark.
void KeepRow(std::span<const char> row, bool isFirst, FileIds& ids) {
    if (isFirst) {
        row = row.subspan(kSignatureBytes + sizeof(uint32_t));
        row = row.subspan(Take<uint32_t>(row));
    }
    if (row.empty() || Take<uint16_t>(row) != 2) {
        return;
    }
    Take<uint32_t>(row); // the length of a BIGINT
    const auto id = static_cast<int32_t>(Take<uint64_t>(row));
    const std::size_t length = Take<uint32_t>(row);
    ids.try_emplace(std::string(BaseName({row.data(), std::min(length, row.size())})), id);
}

} // namespace

Engine::Engine(const char* address) : m_handle(std::make_unique<Handle>()) {
    m_handle->connection = PQconnectdb(address);
    if (PQstatus(m_handle->connection) != CONNECTION_OK) {
        throw std::runtime_error(PQerrorMessage(m_handle->connection));
    }
}

Engine::~Engine() {
    PQfinish(m_handle->connection);
}

void Engine::Run(const std::string& sql) {
    const Result result(PQexec(m_handle->connection, sql.c_str()), PQclear);
    if (PQresultStatus(result.get()) != PGRES_TUPLES_OK) {
        Check(result, PGRES_COMMAND_OK);
    }
}

// Uses COPY in binary form, the fastest way to read rows with libpq.
void Engine::ReadRows(const std::string& select, FileIds& ids) {
    const std::string copy = "COPY (" + select + ") TO STDOUT (FORMAT binary)";
    Check({PQexec(m_handle->connection, copy.c_str()), PQclear}, PGRES_COPY_OUT);
    char* row = nullptr;
    bool isFirst = true;
    int length = 0;
    while ((length = PQgetCopyData(m_handle->connection, &row, 0)) > 0) {
        const std::unique_ptr<char, decltype(&PQfreemem)> owner(row, PQfreemem);
        KeepRow({row, static_cast<std::size_t>(length)}, isFirst, ids);
        isFirst = false;
    }
    Check({PQgetResult(m_handle->connection), PQclear}, PGRES_COMMAND_OK);
}

} // namespace floors
