// JSON, as krctl prints it.

#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

// Members keep the order in which they were set.
using Json = nlohmann::ordered_json;

// A text of bytes, such as a file's name. What is no UTF-8, and so can't stand in JSON, becomes
// U+FFFD.
[[nodiscard]] Json JsonText(std::string_view bytes);

// Prints it on standard output, indented, and a newline.
void PrintJson(const Json& json);
