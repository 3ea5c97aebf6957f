// Parses the SQL statements with which the tool writes.

#pragma once

#include <map>
#include <string>

namespace plan {

// "INSERT INTO table (columns) VALUES (values) ...", columns and values verbatim.
struct Insertion {
    std::string table;
    std::map<std::string, std::string> literals; // by column
};

// "DELETE FROM table WHERE condition;"
struct Deletion {
    std::string table;
    std::string condition;
};

// Both throw recorder::Error if the statement has another form.

[[nodiscard]] Insertion ParseInsertion(const std::string& statement);
[[nodiscard]] Deletion ParseDeletion(const std::string& sql);

// Returns the value of a literal as text, without its quotes if it has any.
[[nodiscard]] std::string TextOfLiteral(const std::string& literal);

} // namespace plan
