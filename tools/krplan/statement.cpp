#include "tools/krplan/statement.h"

#include "recorder/database/sqltext.h"
#include "recorder/support/error.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace plan {

namespace {

[[noreturn]] void Refuse(const std::string& sql) {
    throw recorder::Error("a plan does not support the statement " +
                          recorder::Excerpt(sql.c_str()));
}

// Removes and returns the text before `end`, and removes `end`.
std::string_view TakeUntil(std::string_view& text, std::string_view end, const std::string& sql) {
    const std::size_t at = text.find(end);
    if (at == std::string_view::npos) {
        Refuse(sql);
    }
    const std::string_view taken = text.substr(0, at);
    text.remove_prefix(at + end.size());
    return taken;
}

// Removes and returns the items of a list, separated by ", ", and removes the final ")".
std::vector<std::string> TakeList(std::string_view& text, const std::string& sql) {
    std::vector<std::string> items(1);
    bool isQuoted = false;
    while (!text.empty()) {
        const char c = text.front();
        text.remove_prefix(1);
        isQuoted = isQuoted != (c == '\''); // a doubled quote closes and opens again
        if (!isQuoted && c == ')') {
            return items;
        }
        if (!isQuoted && c == ',') {
            items.emplace_back();
        } else if (isQuoted || c != ' ') {
            items.back() += c;
        }
    }
    Refuse(sql);
}

} // namespace

Insertion ParseInsertion(const std::string& statement) {
    std::string_view rest = statement;
    if (!TakeUntil(rest, "INSERT INTO ", statement).empty()) {
        Refuse(statement);
    }
    Insertion insertion;
    insertion.table = TakeUntil(rest, " (", statement);
    const std::vector<std::string> columns = TakeList(rest, statement);
    if (!TakeUntil(rest, " VALUES (", statement).empty()) {
        Refuse(statement);
    }
    const std::vector<std::string> literals = TakeList(rest, statement);
    if (columns.size() != literals.size()) {
        Refuse(statement);
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
        insertion.literals[columns[i]] = literals[i];
    }
    return insertion;
}

std::string TextOfLiteral(const std::string& literal) {
    if (!literal.starts_with('\'')) {
        return literal;
    }
    std::string text;
    for (std::size_t i = 1; i + 1 < literal.size(); ++i) {
        text += literal[i];
        i += literal[i] == '\'' ? 1U : 0U;
    }
    return text;
}

} // namespace plan
