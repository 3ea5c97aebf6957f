// The JSON that krctl prints.

#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

// Members keep the order in which they were set.
using Json = nlohmann::ordered_json;

// A string of any bytes, such as a file's name. Bytes that are not UTF-8, which JSON does not
// allow, become U+FFFD.
[[nodiscard]] Json JsonText(std::string_view bytes);

// Prints the value to standard output, indented and with a final newline.
void PrintJson(const Json& json);
