// Recognises the statements with which the tool reads media tables and removes rows from them.

#pragma once

#include <optional>
#include <string>

namespace recorder {

struct TableRead {
    std::string table;
    int camId = 0; // 0 = all rows of the table are read
};

// The media table that `sql` reads. The tool reads a table once for each part of a run, at the
// beginning of the part. Nothing for any other text, and for a text of several statements, because
// those after the SELECT may write.
[[nodiscard]] std::optional<TableRead> ReadOfMediaTable(const std::string& sql);

// "DELETE FROM table WHERE condition;"
struct Deletion {
    std::string table;
    std::string condition;
};

// The rows that `sql` removes; nothing if it doesn't begin with DELETE. Throws Error for a deletion
// of another form.
[[nodiscard]] std::optional<Deletion> DeletionIn(const std::string& sql);

} // namespace recorder
