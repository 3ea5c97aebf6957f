#include "recorder/database/sqltext.h"

#include <cstring>

namespace recorder {

namespace {

constexpr std::size_t kExcerptLength = 120;

} // namespace

std::string Quote(std::string_view text) {
    std::string literal = "'";
    literal.reserve(text.size() + 2);
    for (const char c : text) {
        if (c == '\'') {
            literal += c;
        }
        literal += c;
    }
    literal += '\'';
    return literal;
}

std::vector<std::string> SplitStatements(const std::string& sql) {
    std::vector<std::string> statements;
    std::string statement;
    char quote = '\0';
    for (const char c : sql) {
        if (quote == '\0' && c == ';') {
            statements.push_back(std::move(statement));
            statement.clear();
            continue;
        }
        if (quote == '\0' && (c == '\'' || c == '"')) {
            quote = c;
        } else if (c == quote) {
            quote = '\0'; // a doubled quote closes and opens again
        }
        statement += c;
    }
    if (!statement.empty()) {
        statements.push_back(std::move(statement));
    }
    return statements;
}

std::string ForgetDaysSql(long run, const std::string& condition) {
    return "DELETE FROM run_day WHERE run < " + std::to_string(run) + " AND " + condition + ";";
}

std::string DayOfSql(const std::string& startTm) {
    return "(" + startTm + " - ((" + startTm + " % 86400) + 86400) % 86400) / 86400";
}

std::string Excerpt(const char* sql) {
    const std::size_t length = strnlen(sql, kExcerptLength + 1);
    return length <= kExcerptLength ? sql : std::string(sql, kExcerptLength) + "...";
}

} // namespace recorder
