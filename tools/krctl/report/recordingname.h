// What a recording's name tells.

#pragma once

#include <optional>
#include <string_view>

// Seconds since the epoch: 1795162500 of "/a/20261120AM/Front-20261120-081500-1795162500-LOCK.mp4".
[[nodiscard]] std::optional<long> StartTmOfName(std::string_view path);
