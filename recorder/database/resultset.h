// The rows that statements yielded, in one block of memory.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct DBResult_tag {
    std::vector<std::string> columns;

    [[nodiscard]] int RowCount() const;

    // Null when the field is NULL. `row` and `column` must exist.
    [[nodiscard]] const char* Field(int row, std::size_t column) const;

    [[nodiscard]] std::optional<std::size_t> ColumnIndex(std::string_view name) const;

    // The columns of the statement whose rows come next: the same for all statements of a text.
    // Throws Error when they are others than those of the statements before it.
    void TakeColumns(std::vector<std::string> names);

    // Appends the next field; a row is complete after as many as there are columns.
    void AppendField(std::string_view text);
    void AppendNull();

    int cursor = -1;                    // the row that was fetched last
    mutable bool foreignIdSeen = false; // a row id that can't be one was withheld

private:
    static constexpr std::size_t kNull = static_cast<std::size_t>(-1);

    std::vector<std::size_t> m_offsets; // of each field in m_texts, row by row; kNull for NULL
    std::vector<char> m_texts;          // fields, NUL-terminated
};
