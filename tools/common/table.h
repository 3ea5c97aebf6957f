// A table of texts: columns aligned, two spaces between them.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

class Table {
public:
    struct Column {
        std::string title;
        bool isNumber = false; // aligned to the right
        int rank = 0;          // columns with a high rank are left out first; those of rank 0 never
        std::string legend{};  // an explanation below the table, if the column is shown
    };

    explicit Table(std::vector<Column> columns);

    // One cell for each column. Control characters and bytes that are not UTF-8 are escaped.
    void AddRow(const std::vector<std::string>& cells);

    // Returns the lines, titles first, each with a newline. Columns with a rank are left out, the
    // highest rank first, until the lines have at most `columns` characters; a line below the table
    // names them. No cell is ever shortened: lines are longer than `columns` if the columns of rank
    // 0 don't fit.
    [[nodiscard]] std::string Text(int columns) const;

    // Which columns are shown, and how wide each of them is.
    struct Layout {
        std::vector<std::size_t> shown;
        std::vector<std::size_t> widths;
    };
    // The parts of Text, for a table that is printed in pages.
    [[nodiscard]] Layout LayoutWithin(int columns) const;
    [[nodiscard]] std::string Titles(const Layout& layout) const;
    [[nodiscard]] std::string Rows(const Layout& layout) const;
    [[nodiscard]] std::string Remarks(const Layout& layout) const;
    [[nodiscard]] std::size_t RowCount() const { return m_rows.size(); }
    void ForgetRows() { m_rows.clear(); }

    // Returns the rows for programs: all columns, separated by tabs, without titles.
    [[nodiscard]] std::string TabSeparated() const;

private:
    using Row = std::vector<std::string>;
    using Indexes = std::vector<std::size_t>; // of columns

    [[nodiscard]] std::size_t WidthOf(std::size_t column) const;
    [[nodiscard]] Indexes ColumnsWithin(std::size_t width) const;
    [[nodiscard]] std::vector<std::size_t> WidthsWithin(const Indexes& shown,
                                                        std::size_t width) const;
    [[nodiscard]] std::size_t NextNarrower(std::size_t column, std::size_t width) const;
    [[nodiscard]] std::string Line(const Row& cells, const Indexes& shown,
                                   const std::vector<std::size_t>& widths) const;
    std::vector<Column> m_columns;
    Row m_titles;
    std::vector<Row> m_rows;
};

// Prints a table of any number of rows, of which few are in memory at a time. Its columns are as
// wide as the first rows need; a wider cell moves the rest of its line.
class LongTable {
public:
    explicit LongTable(std::vector<Table::Column> columns) : m_page(std::move(columns)) {}

    void AddRow(const std::vector<std::string>& cells);

    // Prints what is left. Prints nothing if there are no rows.
    void End();

private:
    void PrintPage();

    Table m_page;
    std::optional<Table::Layout> m_layout; // nothing: nothing was printed
};

// Prints the table to standard output: as wide as the terminal, or in full if it is no terminal.
void PrintTable(const Table& table);

// Prints the table to a terminal, or its rows separated by tabs if standard output is no terminal.
void PrintTableOrTabs(const Table& table);
