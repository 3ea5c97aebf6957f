// A table of texts: columns aligned, two spaces between them.

#pragma once

#include <string>
#include <vector>

class Table {
public:
    struct Column {
        std::string title;
        bool isNumber = false; // aligned to the right
    };

    explicit Table(std::vector<Column> columns);

    // One cell for each column. Control characters are escaped.
    void AddRow(const std::vector<std::string>& cells);

    // Returns the lines, titles first, each with a newline. If they would be wider than `columns`
    // characters, the widest texts are shortened. If that is not enough, each row becomes a block
    // of lines: its texts, then its numbers with their titles, except those that are 0.
    [[nodiscard]] std::string Text(int columns) const;

private:
    [[nodiscard]] std::vector<std::size_t> Widths(std::size_t columns) const;
    [[nodiscard]] std::string Block(const std::vector<std::string>& cells,
                                    std::size_t columns) const;
    [[nodiscard]] std::string Line(const std::vector<std::string>& cells,
                                   const std::vector<std::size_t>& widths) const;

    std::vector<Column> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

// Prints the table to standard output: as wide as the terminal, or in full if it is no terminal.
void PrintTable(const Table& table);
