// The moments that --since and --until take.

#pragma once

#include <string>

// A moment that an option names, in seconds since the epoch. Accepts:
//
//   30d, 12h, 90m, 45s, 2w   this long before `nowTm`; a day has 24 hours, a week 7 days
//   2026-11-01               the beginning of that day, local time
//   2026-11-01T12:30         that minute or second, local time; also with a blank instead of "T"
//   2026-11-01T12:30:15
//   2026-11-01T12:30:15Z     RFC 3339, with an offset such as +01:00; a fraction of a second is cut
//   off
//
// A local time that doesn't exist because the clocks were put forward is the moment of that change.
// A local time that exists twice because they were put back is the first one for --since and the
// second one for --until, so that the whole hour is selected. An offset makes it unique.
//
// Throws Error for any other text, with the accepted forms.
enum class Bound { Since, Until };
[[nodiscard]] long ParseMoment(const std::string& text, Bound bound, long nowTm);

// A length of time, "60s", "5m", "2h", "1d" or "1w", in seconds. Throws Error for any other text.
[[nodiscard]] long ParseDuration(const std::string& text);
