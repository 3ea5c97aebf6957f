// Recognises the statement with which the tool reads a media table. The tool reads a table once for
// each part of a run, at the beginning of the part.

#pragma once

#include <optional>
#include <string>

namespace recorder {

struct TableRead {
    std::string table;
    int camId = 0; // 0 = all rows of the table are read
};

// The media table that `sql` reads. Nothing for any other text, and for a text of several
// statements, because those after the SELECT may write.
[[nodiscard]] std::optional<TableRead> ReadOfMediaTable(const std::string& sql);

} // namespace recorder
