#include "tools/common/table.h"

#include "tools/common/terminal.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <numeric>

#include <unistd.h>

namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowest = 6; // a shorter text would be meaningless

std::string Padding(std::size_t width, std::size_t used) {
    return std::string(width > used ? width - used : 0, ' ');
}

std::size_t TotalWidth(const std::vector<std::size_t>& widths) {
    return std::accumulate(widths.begin(), widths.end(), kGap * (widths.size() - 1));
}

// Joins the pieces to lines that begin with `indent`.
std::string Wrapped(const std::vector<std::string>& pieces, const std::string& indent,
                    std::size_t columns) {
    std::string text;
    std::string line;
    for (const std::string& piece : pieces) {
        const std::string longer =
            line.empty() ? indent + piece : line + std::string(kGap, ' ') + piece;
        if (!line.empty() && DisplayWidth(longer) > columns) {
            text += line + '\n';
            line = indent + piece;
        } else {
            line = longer;
        }
        line = Shortened(line, columns);
    }
    return line.empty() ? text : text + line + '\n';
}

} // namespace

Table::Table(std::vector<Column> columns) : m_columns(std::move(columns)) {}

void Table::AddRow(const std::vector<std::string>& cells) {
    std::vector<std::string> row;
    row.reserve(cells.size());
    std::transform(cells.begin(), cells.end(), std::back_inserter(row), Printable);
    row.resize(m_columns.size());
    m_rows.push_back(std::move(row));
}

std::string Table::Text(int columns) const {
    const auto width = static_cast<std::size_t>(columns);
    const std::vector<std::size_t> widths = Widths(width);
    if (TotalWidth(widths) > width) {
        return std::accumulate(m_rows.begin(), m_rows.end(), std::string(),
                               [&](const std::string& text, const std::vector<std::string>& row) {
                                   return text + Block(row, width);
                               });
    }
    std::vector<std::string> titles;
    for (const Column& column : m_columns) {
        titles.push_back(column.title);
    }
    std::string text = Line(titles, widths);
    for (const std::vector<std::string>& row : m_rows) {
        text += Line(row, widths);
    }
    return text;
}

std::vector<std::size_t> Table::Widths(std::size_t columns) const {
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        std::size_t width = DisplayWidth(m_columns[i].title);
        for (const std::vector<std::string>& row : m_rows) {
            width = std::max(width, DisplayWidth(row[i]));
        }
        widths.push_back(width);
    }
    while (TotalWidth(widths) > columns) {
        std::size_t widest = widths.size();
        for (std::size_t i = 0; i < widths.size(); ++i) {
            if (!m_columns[i].isNumber && widths[i] > kNarrowest &&
                (widest == widths.size() || widths[i] > widths[widest])) {
                widest = i;
            }
        }
        if (widest == widths.size()) {
            break;
        }
        --widths[widest];
    }
    return widths;
}

std::string Table::Block(const std::vector<std::string>& cells, std::size_t columns) const {
    std::vector<std::string> texts;
    std::vector<std::string> numbers;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (m_columns[i].isNumber && cells[i] != "0") {
            numbers.push_back(m_columns[i].title + " " + cells[i]);
        } else if (!m_columns[i].isNumber && !cells[i].empty()) {
            texts.push_back(cells[i]);
        }
    }
    return Wrapped(texts, "", columns) + Wrapped(numbers, std::string(kGap, ' '), columns);
}

std::string Table::Line(const std::vector<std::string>& cells,
                        const std::vector<std::size_t>& widths) const {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const std::string cell = Shortened(cells[i], widths[i]);
        const std::string padding = Padding(widths[i], DisplayWidth(cell));
        line += (i == 0 ? "" : std::string(kGap, ' ')) +
                (m_columns[i].isNumber ? padding + cell : cell + padding);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line + '\n';
}

void PrintTable(const Table& table) {
    std::fputs(
        table.Text(IsTerminal(STDOUT_FILENO) ? TerminalColumns(STDOUT_FILENO) : INT_MAX).c_str(),
        stdout);
}
