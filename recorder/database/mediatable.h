// The tables with one row for each file. Rows removed from them are kept in the ledger.

#pragma once

#include "platform/database.h"

#include <string>
#include <vector>

namespace recorder {

struct MediaTable {
    KRDB::DB_INSTANCE instance;
    std::string name;
    std::string media;                 // the name of its files for people: "recordings"
    std::vector<std::string> columns;  // all but "id"
    bool isAnnounced = false;          // a message is published for each row that a run adds
    std::vector<std::string> key = {}; // the unique columns, which identify a file; may be none
};

[[nodiscard]] const std::vector<MediaTable>& MediaTables();

// The table with this name. Throws Error if there is none.
[[nodiscard]] const MediaTable& MediaTableOf(const std::string& name);

// The names of the columns, separated by ", ", each with `prefix` before it.
[[nodiscard]] std::string ColumnList(const std::vector<std::string>& columns,
                                     const std::string& prefix = {});

} // namespace recorder
