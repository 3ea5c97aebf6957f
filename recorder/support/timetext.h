// Times as text, by RFC 3339.

#pragma once

#include <optional>
#include <string>

namespace recorder {

// The local time with its offset, for people: "2026-11-23T06:00:00+01:00". A time whose year has no
// four digits, as in a damaged row, is "@" and its seconds since the epoch, as date(1) reads it.
[[nodiscard]] std::string TimeText(long timeTm);

// The time in UTC, for programs: "2026-11-23T05:00:00Z". Empty if its year has no four digits.
[[nodiscard]] std::optional<std::string> UtcTimeText(long timeTm);

} // namespace recorder
