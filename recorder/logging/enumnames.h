// Categories and levels by the names that Enum2String gives them.

#pragma once

#include "platform/logging.h"

#include <optional>
#include <string_view>

namespace recorder {

[[nodiscard]] std::optional<LOG_CATEG> CategoryOfName(std::string_view name);
[[nodiscard]] std::optional<LOG_LEVEL> LevelOfName(std::string_view name);

} // namespace recorder
