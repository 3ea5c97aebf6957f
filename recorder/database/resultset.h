// The rows that statements yielded, in blocks of memory that are given back as the rows are
// fetched: a result of millions of rows shrinks while what is made of it grows.

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

    // Null when the field is NULL, or the row is one that was left behind. `row` and `column` must
    // exist.
    [[nodiscard]] const char* Field(int row, std::size_t column) const;

    // The field of a column as an integer; 0 where it is NULL or no integer. Throws Error when
    // there is no such column.
    [[nodiscard]] long Long(int row, std::string_view column) const;
    [[nodiscard]] int Int(int row, std::string_view column) const;

    // As bytes; empty where it is NULL. Throws Error likewise.
    [[nodiscard]] std::string Text(int row, std::string_view column) const;

    // Nothing where it is NULL. Throws Error likewise.
    [[nodiscard]] std::optional<std::string> TextIfAny(int row, std::string_view column) const;

    [[nodiscard]] std::optional<std::size_t> ColumnIndex(std::string_view name) const;

    // The columns of the statement whose rows come next: the same for all statements of a text.
    // Throws Error when they are others than those of the statements before it.
    void TakeColumns(std::vector<std::string> names);

    // Appends the next field; a row is complete after as many as there are columns.
    void AppendField(std::string_view text);
    void AppendNull();

    // Rows before `row` are not asked for any more.
    void LeaveBehind(int row);

    int cursor = -1;                    // the row that was fetched last
    mutable bool foreignIdSeen = false; // a row id that can't be one was withheld

private:
    [[nodiscard]] const char* FieldOf(int row, std::string_view column) const;

    struct Block {
        int firstRow = 0;
        std::vector<uint32_t> rows; // of each row, where it begins in `fields`
        std::vector<char> fields;   // of each field its length, its text and a NUL
    };

    [[nodiscard]] const Block* BlockOf(int row) const;
    Block& BlockToAppendTo();
    void CountField();

    std::deque<Block> m_blocks;
    std::size_t m_fieldsOfRow = 0; // of the row that isn't complete yet
    int m_rowCount = 0;
};
