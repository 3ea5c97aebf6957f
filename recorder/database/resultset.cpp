#include "recorder/database/resultset.h"

#include "platform/database.h"
#include "recorder/logging/recorderlog.h"
#include "recorder/support/error.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>

int DBResult_tag::RowCount() const {
    return columns.empty() ? 0 : static_cast<int>(m_offsets.size() / columns.size());
}

const char* DBResult_tag::Field(int row, std::size_t column) const {
    const std::size_t offset = m_offsets[static_cast<std::size_t>(row) * columns.size() + column];
    return offset == kNull ? nullptr : m_texts.data() + offset;
}

std::optional<std::size_t> DBResult_tag::ColumnIndex(std::string_view name) const {
    const auto found = std::find(columns.begin(), columns.end(), name);
    if (found == columns.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - columns.begin());
}

void DBResult_tag::TakeColumns(std::vector<std::string> names) {
    if (columns.empty()) {
        columns = std::move(names);
    } else if (columns != names) {
        throw recorder::Error("the statements before it yield other columns");
    }
}

void DBResult_tag::AppendField(std::string_view text) {
    m_offsets.push_back(m_texts.size());
    m_texts.insert(m_texts.end(), text.begin(), text.end());
    m_texts.push_back('\0');
}

void DBResult_tag::AppendNull() {
    m_offsets.push_back(kNull);
}

namespace {

constexpr std::string_view kIdColumn = "id";

bool IsRowId(const char* text) {
    int value = 0;
    const char* const end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, value);
    return error == std::errc() && stop == end && value >= 1;
}

// The tool holds ids in 32 bits: an id beyond would become the id of an innocent row.
const char* WithholdForeignId(const DBResult_tag& result, const char* id) {
    if (id == nullptr || IsRowId(id)) {
        return id;
    }
    if (!result.foreignIdSeen) {
        result.foreignIdSeen = true;
        recorder::LogWarning("a row with the id " + std::string(id) +
                             " is left alone; expected an id from 1 to 2147483647");
    }
    return nullptr;
}

} // namespace

int KRDBFetchRow(DBResult_tag* result, int* row) {
    if (result == nullptr || result->cursor + 1 >= result->RowCount()) {
        *row = -1;
        return -1;
    }
    *row = ++result->cursor;
    return 0;
}

const char* KRDBFetchField(const DBResult_tag* result, int row, const char* column) {
    if (result == nullptr || row < 0 || row >= result->RowCount()) {
        return nullptr;
    }
    const std::optional<std::size_t> index = result->ColumnIndex(column);
    if (!index) {
        return nullptr;
    }
    const char* const text = result->Field(row, *index);
    return column == kIdColumn ? WithholdForeignId(*result, text) : text;
}

void KRDBFreeResult(DBResult_tag* result) {
    delete result;
}
