// The statements by which the tool would write, taken apart.

#pragma once

#include <map>
#include <string>

namespace plan {

// "INSERT INTO table (columns) VALUES (values) ...", columns and values as they stand.
struct Insertion {
    std::string table;
    std::map<std::string, std::string> literals; // by column
};

// "DELETE FROM table WHERE condition;"
struct Deletion {
    std::string table;
    std::string condition;
};

// Both throw recorder::Error when the statement is none of that form.

[[nodiscard]] Insertion ParseInsertion(const std::string& statement);
[[nodiscard]] Deletion ParseDeletion(const std::string& sql);

// The text that a literal stands for: without its quotes, if it has some.
[[nodiscard]] std::string TextOfLiteral(const std::string& literal);

} // namespace plan
