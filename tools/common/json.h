// The JSON that krctl prints.

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

// Members keep the order in which they were set.
using Json = nlohmann::ordered_json;

// A string of any bytes, such as a file's name. Bytes that are not UTF-8, which JSON does not
// allow, become U+FFFD.
[[nodiscard]] Json JsonText(std::string_view bytes);

// The same, or null without a text.
[[nodiscard]] Json JsonTextOrNull(const std::optional<std::string>& bytes);

// A moment in UTC, "2026-11-23T05:00:00Z"; null if its year has no four digits. `timeTm` is in
// seconds since the epoch.
[[nodiscard]] Json JsonTime(long timeTm);

// "krctl.NAME/1", the value of "schema", which is the first key of each JSON document that krctl
// prints. docs/json/NAME.schema.json describes the document.
[[nodiscard]] std::string SchemaName(std::string_view name);

// Prints an object to standard output, with "schema" before its members, indented and with a final
// newline. `name` is the name of its schema.
void PrintJson(std::string_view name, const Json& object);
