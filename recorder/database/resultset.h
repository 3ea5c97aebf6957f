// The rows of a result, in blocks of memory that are freed while the rows are fetched. A result of
// millions of rows shrinks while the caller builds its own data from it.

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct DBResult_tag {
    std::vector<std::string> columns;

    [[nodiscard]] int RowCount() const { return m_rowCount; }

    // Returns null if the field is NULL or the row was freed by LeaveBehind. `row` and `column`
    // must exist.
    [[nodiscard]] const char* Field(int row, std::size_t column) const;

    // The column's value as an integer; 0 for NULL or a text that is not an integer. Throws Error
    // if the column does not exist.
    [[nodiscard]] long Long(int row, std::string_view column) const;
    [[nodiscard]] int Int(int row, std::string_view column) const;

    // The column's value as bytes; empty for NULL. Throws Error if the column does not exist.
    [[nodiscard]] std::string Text(int row, std::string_view column) const;

    // Like Text, but returns nothing for NULL.
    [[nodiscard]] std::optional<std::string> TextIfAny(int row, std::string_view column) const;

    [[nodiscard]] std::optional<std::size_t> ColumnIndex(std::string_view name) const;

    // Sets the columns of the next statement's rows. Throws Error if an earlier statement had other
    // columns.
    void TakeColumns(std::vector<std::string> names);

    // Appends the next field. A row is complete when it has a field for each column.
    void AppendField(std::string_view text);
    void AppendNull();

    // Frees rows before `row`, as far as whole blocks can be freed.
    void LeaveBehind(int row);

    int cursor = -1;                    // the last fetched row
    mutable bool foreignIdSeen = false; // an id outside of 1 to 2147483647 was withheld

private:
    [[nodiscard]] const char* FieldOf(int row, std::string_view column) const;

    struct Block {
        int firstRow = 0;
        std::vector<uint32_t> rows; // for each row, its offset in `fields`
        std::vector<char> fields;   // for each field, its length, its text and a NUL
    };

    [[nodiscard]] const Block* BlockOf(int row) const;
    Block& BlockToAppendTo();
    void CountField();

    std::deque<Block> m_blocks;
    std::size_t m_fieldsOfRow = 0; // fields of the incomplete last row
    int m_rowCount = 0;
};
