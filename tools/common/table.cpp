#include "tools/common/table.h"

#include "tools/common/terminal.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <numeric>

#include <unistd.h>

namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kRowsOfPage = 1000;

std::string Padding(std::size_t width, std::size_t used) {
    return std::string(width > used ? width - used : 0, ' ');
}

std::size_t TotalWidth(const std::vector<std::size_t>& widths) {
    return std::accumulate(widths.begin(), widths.end(),
                           widths.empty() ? 0 : kGap * (widths.size() - 1));
}

// The width of standard output; unlimited if it is no terminal.
int OutputColumns() {
    return IsTerminal(STDOUT_FILENO) ? TerminalColumns(STDOUT_FILENO) : INT_MAX;
}

} // namespace

Table::Table(std::vector<Column> columns) : m_columns(std::move(columns)) {
    for (const Column& column : m_columns) {
        m_titles.push_back(column.title);
    }
}

void Table::AddRow(const std::vector<std::string>& cells) {
    Row row;
    row.reserve(m_columns.size());
    std::transform(cells.begin(), cells.end(), std::back_inserter(row), Printable);
    row.resize(m_columns.size());
    m_rows.push_back(std::move(row));
}

std::string Table::Text(int columns) const {
    const Layout layout = LayoutWithin(columns);
    return Titles(layout) + Rows(layout) + Remarks(layout);
}

Table::Layout Table::LayoutWithin(int columns) const {
    const auto width = static_cast<std::size_t>(columns);
    Layout layout{ColumnsWithin(width), {}};
    layout.widths = WidthsWithin(layout.shown, width);
    return layout;
}

std::string Table::Titles(const Layout& layout) const {
    return Line(m_titles, layout.shown, layout.widths);
}

std::string Table::Rows(const Layout& layout) const {
    std::string text;
    for (const Row& row : m_rows) {
        text += Line(row, layout.shown, layout.widths);
    }
    return text;
}

std::string Table::TabSeparated() const {
    std::string text;
    for (const Row& row : m_rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += (i == 0 ? "" : "\t") + row[i];
        }
        text += '\n';
    }
    return text;
}

std::size_t Table::WidthOf(std::size_t column) const {
    std::size_t width = DisplayWidth(m_titles[column]);
    for (const Row& row : m_rows) {
        width = std::max(width, DisplayWidth(row[column]));
    }
    return width;
}

Table::Indexes Table::ColumnsWithin(std::size_t width) const {
    Indexes shown(m_columns.size());
    std::iota(shown.begin(), shown.end(), 0U);
    std::size_t total = TotalWidth(WidthsWithin(shown, SIZE_MAX));
    while (total > width) {
        const auto last = std::max_element(shown.begin(), shown.end(), [&](auto one, auto other) {
            return m_columns[one].rank < m_columns[other].rank;
        });
        if (last == shown.end() || m_columns[*last].rank == 0) {
            break;
        }
        total -= WidthOf(*last) + kGap;
        shown.erase(last);
    }
    return shown;
}

// The widths of the shown columns. If they don't fit because of texts that take more than half of
// the width, the columns are as wide as the other texts need, and only the lines of those texts are
// longer.
std::vector<std::size_t> Table::WidthsWithin(const Indexes& shown, std::size_t width) const {
    std::vector<std::size_t> natural;
    for (const std::size_t column : shown) {
        natural.push_back(WidthOf(column));
    }
    std::vector<std::size_t> widths = natural;
    while (TotalWidth(widths) > width) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        const std::size_t column = shown[static_cast<std::size_t>(widest - widths.begin())];
        const std::size_t narrower = NextNarrower(column, *widest);
        if (*widest <= width / 2 || narrower == *widest) {
            return natural;
        }
        *widest = narrower;
    }
    return widths;
}

// The width of the longest text in the column that is narrower than `width`; at least its title's.
std::size_t Table::NextNarrower(std::size_t column, std::size_t width) const {
    std::size_t narrower = DisplayWidth(m_titles[column]);
    for (const Row& row : m_rows) {
        const std::size_t ofCell = DisplayWidth(row[column]);
        narrower = ofCell < width ? std::max(narrower, ofCell) : narrower;
    }
    return narrower;
}

std::string Table::Line(const Row& cells, const Indexes& shown,
                        const std::vector<std::size_t>& widths) const {
    std::string line;
    for (std::size_t i = 0; i < shown.size(); ++i) {
        const std::string& cell = cells[shown[i]];
        const std::string padding = Padding(widths[i], DisplayWidth(cell));
        line += (i == 0 ? "" : std::string(kGap, ' ')) +
                (m_columns[shown[i]].isNumber ? padding + cell : cell + padding);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line + '\n';
}

std::string Table::Remarks(const Layout& layout) const {
    std::string legends;
    std::string missing;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const bool isShown =
            std::find(layout.shown.begin(), layout.shown.end(), i) != layout.shown.end();
        if (!isShown) {
            missing += (missing.empty() ? "" : ", ") + m_titles[i];
        } else if (!m_columns[i].legend.empty()) {
            legends += m_titles[i] + ": " + m_columns[i].legend + '\n';
        }
    }
    return legends + (missing.empty() ? "" : "terminal too narrow for: " + missing + '\n');
}

void PrintTable(const Table& table) {
    std::fputs(table.Text(OutputColumns()).c_str(), stdout);
}

void LongTable::AddRow(const std::vector<std::string>& cells) {
    m_page.AddRow(cells);
    if (m_page.RowCount() == kRowsOfPage) {
        PrintPage();
    }
}

void LongTable::End() {
    if (m_page.RowCount() > 0) {
        PrintPage();
    }
    if (m_layout) {
        std::fputs(m_page.Remarks(*m_layout).c_str(), stdout);
    }
}

void LongTable::PrintPage() {
    if (!m_layout) {
        m_layout = m_page.LayoutWithin(OutputColumns());
        std::fputs(m_page.Titles(*m_layout).c_str(), stdout);
    }
    std::fputs(m_page.Rows(*m_layout).c_str(), stdout);
    m_page.ForgetRows();
}

void PrintTableOrTabs(const Table& table) {
    if (IsTerminal(STDOUT_FILENO)) {
        PrintTable(table);
    } else {
        std::fputs(table.TabSeparated().c_str(), stdout);
    }
}
