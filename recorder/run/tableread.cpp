#include "recorder/run/tableread.h"

#include "recorder/database/mediatable.h"

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

} // namespace recorder
