// Parses the SQL statements with which the tool adds rows.

#pragma once

#include <map>
#include <string>

namespace plan {

// "INSERT INTO table (columns) VALUES (values) ...", columns and values verbatim.
struct Insertion {
    std::string table;
    std::map<std::string, std::string> literals; // by column
};

// Throws recorder::Error if the statement has another form.
[[nodiscard]] Insertion ParseInsertion(const std::string& statement);

// Returns the value of a literal as text, without its quotes if it has any.
[[nodiscard]] std::string TextOfLiteral(const std::string& literal);

} // namespace plan
