// UUIDs in their usual text form: 36 characters, hexadecimal digits in groups of 8-4-4-4-12.

#pragma once

#include <string>
#include <string_view>

namespace recorder {

// A random UUID (version 4) in lower case. Throws Error if the kernel provides no random bytes.
[[nodiscard]] std::string NewUuid();

[[nodiscard]] bool IsUuid(std::string_view text);

} // namespace recorder
