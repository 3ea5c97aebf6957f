#include "recorder/database/resultset.h"

#include "platform/database.h"
#include "recorder/logging/recorderlog.h"
#include "recorder/support/error.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>

namespace {

// Large enough for malloc to map it separately, and to return it to the kernel when it is freed.
constexpr std::size_t kBlockBytes = 256UL * 1024UL;
constexpr std::size_t kFullBytes = kBlockBytes - 4096; // a new row begins below this size
constexpr uint32_t kNullLength = std::numeric_limits<uint32_t>::max();

uint32_t LengthAt(const char* field) {
    uint32_t length = 0;
    std::memcpy(&length, field, sizeof length);
    return length;
}

// Appends a length and `followed` bytes. Returns the address of these bytes.
char* AppendLength(std::vector<char>& fields, uint32_t length, std::size_t followed) {
    const std::size_t at = fields.size();
    fields.resize(at + sizeof length + followed);
    std::memcpy(fields.data() + at, &length, sizeof length);
    return fields.data() + at + sizeof length;
}

const char* FieldBehind(const char* field) {
    const uint32_t length = LengthAt(field);
    return field + sizeof length + (length == kNullLength ? 0 : length + 1UL);
}

} // namespace

const DBResult_tag::Block* DBResult_tag::BlockOf(int row) const {
    const bool isInFirst =
        m_blocks.size() == 1 || (m_blocks.size() > 1 && row < m_blocks[1].firstRow);
    if (isInFirst && row >= m_blocks.front().firstRow) { // rows are usually fetched in order
        return &m_blocks.front();
    }
    const auto behind =
        std::upper_bound(m_blocks.begin(), m_blocks.end(), row,
                         [](int wanted, const Block& block) { return wanted < block.firstRow; });
    return behind == m_blocks.begin() ? nullptr : &*std::prev(behind);
}

const char* DBResult_tag::Field(int row, std::size_t column) const {
    const Block* const block = BlockOf(row);
    if (block == nullptr) {
        return nullptr;
    }
    const char* field =
        block->fields.data() + block->rows[static_cast<std::size_t>(row - block->firstRow)];
    for (; column > 0; --column) {
        field = FieldBehind(field);
    }
    return LengthAt(field) == kNullLength ? nullptr : field + sizeof(uint32_t);
}

const char* DBResult_tag::FieldOf(int row, std::string_view column) const {
    const std::optional<std::size_t> index = ColumnIndex(column);
    if (!index) {
        throw recorder::Error("the result has no column " + std::string(column));
    }
    return Field(row, *index);
}

long DBResult_tag::Long(int row, std::string_view column) const {
    const char* const text = FieldOf(row, column);
    return text == nullptr ? 0 : std::strtol(text, nullptr, 10);
}

int DBResult_tag::Int(int row, std::string_view column) const {
    return static_cast<int>(Long(row, column));
}

std::string DBResult_tag::Text(int row, std::string_view column) const {
    return TextIfAny(row, column).value_or("");
}

std::optional<std::string> DBResult_tag::TextIfAny(int row, std::string_view column) const {
    const char* const text = FieldOf(row, column);
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
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
        throw recorder::Error("an earlier statement of the text has other columns");
    }
}

void DBResult_tag::AppendField(std::string_view text) {
    char* const room = AppendLength(BlockToAppendTo().fields, static_cast<uint32_t>(text.size()),
                                    text.size() + 1); // resize has written the NUL
    std::copy(text.begin(), text.end(), room);
    CountField();
}

void DBResult_tag::AppendNull() {
    AppendLength(BlockToAppendTo().fields, kNullLength, 0);
    CountField();
}

void DBResult_tag::LeaveBehind(int row) {
    while (m_blocks.size() > 1 && m_blocks[1].firstRow <= row) {
        m_blocks.pop_front();
    }
}

DBResult_tag::Block& DBResult_tag::BlockToAppendTo() {
    if (m_fieldsOfRow > 0) {
        return m_blocks.back();
    }
    if (m_blocks.empty() || m_blocks.back().fields.size() > kFullBytes) {
        m_blocks.emplace_back().firstRow = m_rowCount;
        m_blocks.back().fields.reserve(kBlockBytes);
    }
    Block& block = m_blocks.back();
    block.rows.push_back(static_cast<uint32_t>(block.fields.size()));
    return block;
}

void DBResult_tag::CountField() {
    if (++m_fieldsOfRow == columns.size()) {
        m_fieldsOfRow = 0;
        ++m_rowCount;
    }
}

namespace {

constexpr std::string_view kIdColumn = "id";

bool IsRowId(const char* text) {
    int value = 0;
    const char* const end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, value);
    return error == std::errc() && stop == end && value >= 1;
}

// The tool holds ids in 32 bits, so a larger id would become the id of another row.
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
    result->LeaveBehind(*row);
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
