// A result of the database layer, read to its end.

#pragma once

#include "platform/database.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace contract {

// Executes a text on the system database as one transaction.
inline int RunText(const std::string& sql) {
    return KRDB::Execute(KRDB::DB_SYSTEM, sql, nullptr, false, true, true, true);
}

// The result of a text, which is freed with the object.
class Rows {
public:
    explicit Rows(const std::string& sql, KRDB::DB_INSTANCE db = KRDB::DB_SYSTEM) {
        if (KRDB::Execute(db, sql, &m_result, false, true, true, true) != 0) {
            throw std::runtime_error("failed: " + sql.substr(0, 200));
        }
    }
    ~Rows() { KRDBFreeResult(m_result); }
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;
    Rows(Rows&&) = delete;
    Rows& operator=(Rows&&) = delete;

    [[nodiscard]] DBResult_tag* Get() const { return m_result; }

    // The texts of a column from the row after the current one to the last; "NULL" for null.
    [[nodiscard]] std::vector<std::string> Column(const char* name) const {
        std::vector<std::string> texts;
        int row = 0;
        while (KRDBFetchRow(m_result, &row) == 0) {
            const char* const text = KRDBFetchField(m_result, row, name);
            texts.emplace_back(text == nullptr ? "NULL" : text);
        }
        return texts;
    }

private:
    DBResult_tag* m_result = nullptr;
};

} // namespace contract
