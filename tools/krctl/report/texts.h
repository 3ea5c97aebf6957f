// Small texts for people to read.

#pragma once

#include <string>

// "2,314".
[[nodiscard]] std::string Grouped(long number);

// "1 row", "2,314 rows".
[[nodiscard]] std::string Grouped(long number, const std::string& noun);

// "Alert recordings" for "alert recordings".
[[nodiscard]] std::string Capitalised(std::string text);
