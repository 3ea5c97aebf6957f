// Recognises the statement by which the tool reads a table: the tool does so once for each part of
// a run, as the part begins.

#pragma once

#include <optional>
#include <string>

namespace recorder {

struct TableRead {
    std::string table;
    int camId = 0; // 0 = all rows of the table are read
};

// What `sql` reads of a media table. Nothing for any other text, also for one of several
// statements: those after the SELECT may write.
[[nodiscard]] std::optional<TableRead> ReadOfMediaTable(const std::string& sql);

} // namespace recorder
