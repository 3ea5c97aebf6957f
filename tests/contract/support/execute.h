// Running SQL through the platform's database layer.

#pragma once

#include "platform/database.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace contract {

// The flags of KRDB::Execute. By default a text is one transaction that waits for the lock and logs
// its failure.
struct Flags {
    bool readOnly = false;
    bool transaction = true;
    bool waitForLock = true;
    bool logError = true;
};

// Executes a text whose rows are not needed, and returns the platform's result.
inline int Execute(KRDB::DB_INSTANCE db, const std::string& sql, const Flags& flags = {}) {
    return KRDB::Execute(db, sql, nullptr, flags.readOnly, flags.transaction, flags.waitForLock,
                         flags.logError);
}

// The same on the system database.
inline int Execute(const std::string& sql, const Flags& flags = {}) {
    return Execute(KRDB::DB_SYSTEM, sql, flags);
}

// The result of a text; freed with the object.
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

    // The column's values from the next row to the last; "NULL" for null.
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
