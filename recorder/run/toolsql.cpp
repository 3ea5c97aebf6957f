#include "recorder/run/toolsql.h"

#include "recorder/database/mediatable.h"
#include "recorder/database/sqltext.h"
#include "recorder/support/error.h"

#include <cstdlib>
#include <string_view>

namespace recorder {

namespace {

int CameraIn(const std::string& sql) {
    constexpr std::string_view kCondition = " WHERE camera_id = ";
    const std::size_t condition = sql.find(kCondition);
    return condition == std::string::npos
               ? 0
               : static_cast<int>(
                     std::strtol(sql.c_str() + condition + kCondition.size(), nullptr, 10));
}

} // namespace

std::optional<TableRead> ReadOfMediaTable(const std::string& sql) {
    if (!sql.starts_with("SELECT ") || sql.find(';') + 1 < sql.size()) {
        return std::nullopt;
    }
    for (const MediaTable& table : MediaTables()) {
        const std::string from = " FROM " + table.name;
        if (sql.find(from + ' ') != std::string::npos ||
            sql.find(from + ';') != std::string::npos) {
            return TableRead{table.name, CameraIn(sql)};
        }
    }
    return std::nullopt;
}

std::optional<Deletion> DeletionIn(const std::string& sql) {
    constexpr std::string_view kFrom = "DELETE FROM ";
    constexpr std::string_view kWhere = " WHERE ";
    if (!sql.starts_with("DELETE ")) {
        return std::nullopt;
    }
    const std::size_t where = sql.find(kWhere);
    if (!sql.starts_with(kFrom) || where == std::string::npos || sql.find(';') + 1 != sql.size()) {
        throw Error("expected DELETE FROM table WHERE condition;, got " + Excerpt(sql.c_str()));
    }
    const std::size_t condition = where + kWhere.size();
    return Deletion{sql.substr(kFrom.size(), where - kFrom.size()),
                    sql.substr(condition, sql.size() - 1 - condition)};
}

} // namespace recorder
