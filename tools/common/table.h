// A table of texts for people: columns aligned, two spaces between them.

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

    // The lines, titles first, each ended by a newline. Where they would be wider than `columns`
    // characters the widest texts are shortened. Where that is not enough, each row is a block of
    // lines of its own: its texts, and below them its numbers with their titles, but for those
    // that are 0.
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

// Prints it as wide as the terminal on standard output allows, and in full elsewhere.
void PrintTable(const Table& table);
