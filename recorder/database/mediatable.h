// The tables that hold a row for each file. What is removed from them goes to the ledger.

#pragma once

#include "platform/database.h"

#include <string>
#include <vector>

namespace recorder {

struct MediaTable {
    KRDB::DB_INSTANCE instance;
    std::string name;
    std::vector<std::string> columns;  // all but "id"
    bool isAnnounced = false;          // the package gets word of each row that a run adds
    std::vector<std::string> key = {}; // columns that tell a row from all others; none: no column
};

[[nodiscard]] const std::vector<MediaTable>& MediaTables();

// Their names, separated by ", ", each with `prefix` before it.
[[nodiscard]] std::string ColumnList(const std::vector<std::string>& columns,
                                     const std::string& prefix = {});

} // namespace recorder
