#include "tools/common/moment.h"

#include "recorder/support/error.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
#include <limits>
#include <optional>
#include <string_view>

namespace {

constexpr long kSecondsPerMinute = 60;
constexpr long kSecondsPerHour = 3600;
constexpr long kSecondsPerDay = 86400;

// Reads a text from its beginning. Each function takes nothing unless it returns a value.
class Reader {
public:
    explicit Reader(std::string_view text) : m_rest(text) {}

    // A number of exactly `digits` digits, from `first` to `last`.
    std::optional<int> Number(std::size_t digits, int first, int last) {
        int value = 0;
        const std::string_view text = m_rest.substr(0, digits);
        const bool areDigits =
            text.size() == digits && std::all_of(text.begin(), text.end(), IsDigit);
        if (!areDigits) {
            return std::nullopt;
        }
        std::from_chars(text.data(), text.data() + text.size(), value);
        if (value < first || value > last) {
            return std::nullopt;
        }
        m_rest.remove_prefix(digits);
        return value;
    }

    // One of these characters.
    std::optional<char> OneOf(std::string_view characters) {
        if (m_rest.empty() || characters.find(m_rest.front()) == std::string_view::npos) {
            return std::nullopt;
        }
        const char c = m_rest.front();
        m_rest.remove_prefix(1);
        return c;
    }

    // Any number of digits, at least one.
    bool Digits() {
        const auto count = static_cast<std::size_t>(
            std::find_if_not(m_rest.begin(), m_rest.end(), IsDigit) - m_rest.begin());
        m_rest.remove_prefix(count);
        return count > 0;
    }

    [[nodiscard]] bool IsAtEnd() const { return m_rest.empty(); }

private:
    static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

    std::string_view m_rest;
};

std::optional<long> SecondsOfUnit(char unit) {
    switch (unit) {
    case 's':
        return 1;
    case 'm':
        return kSecondsPerMinute;
    case 'h':
        return kSecondsPerHour;
    case 'd':
        return kSecondsPerDay;
    case 'w':
        return 7 * kSecondsPerDay;
    default:
        return std::nullopt;
    }
}

// "30d"; nothing for any other text, and for a time that is too long to be subtracted.
std::optional<long> ParseAge(const std::string& text) {
    const char* const end = text.data() + text.size();
    long number = 0;
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool isNumber = error == std::errc() && stop + 1 == end && text.front() != '-';
    const std::optional<long> unit = isNumber ? SecondsOfUnit(*stop) : std::nullopt;
    if (!unit || number > std::numeric_limits<int>::max()) {
        return std::nullopt;
    }
    return number * *unit;
}

// A date and time without an offset, as seconds since the epoch if it were in UTC.
using WallClock = long;

// The local time of a moment.
WallClock WallClockOf(long timeTm) {
    const std::time_t seconds = timeTm;
    struct tm local = {};
    localtime_r(&seconds, &local);
    return timeTm + local.tm_gmtoff;
}

// The first moment after `before` whose local time is not before `wall`.
long MomentOfChange(WallClock wall, long before, long after) {
    while (after - before > 1) {
        const long middle = before + (after - before) / 2;
        (WallClockOf(middle) < wall ? before : after) = middle;
    }
    return after;
}

long MomentOf(WallClock wall, Bound bound) {
    // No offset exceeds a day, so one of these two moments is before a change near `wall` and the
    // other one after it.
    const long offsetBefore = WallClockOf(wall - kSecondsPerDay) - (wall - kSecondsPerDay);
    const long offsetAfter = WallClockOf(wall + kSecondsPerDay) - (wall + kSecondsPerDay);
    const auto [earlier, later] = std::minmax({wall - offsetBefore, wall - offsetAfter});
    const bool isEarlier = WallClockOf(earlier) == wall;
    const bool isLater = WallClockOf(later) == wall;
    if (!isEarlier && !isLater) {
        return MomentOfChange(wall, earlier, later);
    }
    return isEarlier && (bound == Bound::Since || !isLater) ? earlier : later;
}

bool ReadDate(Reader& reader, struct tm& time) {
    const std::optional<int> year = reader.Number(4, 1000, 9999);
    const bool hasMonth = year && reader.OneOf("-");
    const std::optional<int> month = hasMonth ? reader.Number(2, 1, 12) : std::nullopt;
    const bool hasDay = month && reader.OneOf("-");
    const std::optional<int> day = hasDay ? reader.Number(2, 1, 31) : std::nullopt;
    if (!day) {
        return false;
    }
    time.tm_year = *year - 1900;
    time.tm_mon = *month - 1;
    time.tm_mday = *day;
    struct tm normalised = time;
    timegm(&normalised);
    return normalised.tm_mon == time.tm_mon; // false for 30 February
}

// The seconds may be missing.
bool ReadTime(Reader& reader, struct tm& time) {
    constexpr int kLeapSecond = 60;
    const std::optional<int> hour = reader.Number(2, 0, 23);
    const bool hasMinute = hour && reader.OneOf(":");
    const std::optional<int> minute = hasMinute ? reader.Number(2, 0, 59) : std::nullopt;
    if (!minute) {
        return false;
    }
    time.tm_hour = *hour;
    time.tm_min = *minute;
    if (!reader.OneOf(":")) {
        return true;
    }
    const std::optional<int> second = reader.Number(2, 0, kLeapSecond);
    time.tm_sec = second.value_or(0);
    return second && (!reader.OneOf(".") || reader.Digits());
}

// "Z" or "+01:00", in seconds; nothing for any other text.
std::optional<long> ReadOffset(Reader& reader) {
    if (reader.OneOf("Zz")) {
        return 0;
    }
    const std::optional<char> sign = reader.OneOf("+-");
    const std::optional<int> hours = sign ? reader.Number(2, 0, 23) : std::nullopt;
    const bool hasMinutes = hours && reader.OneOf(":");
    const std::optional<int> minutes = hasMinutes ? reader.Number(2, 0, 59) : std::nullopt;
    if (!minutes) {
        return std::nullopt;
    }
    const long seconds = *hours * kSecondsPerHour + *minutes * kSecondsPerMinute;
    return *sign == '-' ? -seconds : seconds;
}

std::optional<long> ParseDate(const std::string& text, Bound bound) {
    Reader reader(text);
    struct tm time = {};
    if (!ReadDate(reader, time)) {
        return std::nullopt;
    }
    const bool hasTime = reader.OneOf("Tt ").has_value();
    if (hasTime && !ReadTime(reader, time)) {
        return std::nullopt;
    }
    const WallClock wall = timegm(&time);
    if (reader.IsAtEnd()) {
        return MomentOf(wall, bound);
    }
    const std::optional<long> offset = hasTime ? ReadOffset(reader) : std::nullopt;
    return offset && reader.IsAtEnd() ? std::optional(wall - *offset) : std::nullopt;
}

} // namespace

long ParseMoment(const std::string& text, Bound bound, long nowTm) {
    if (const std::optional<long> age = ParseAge(text)) {
        return nowTm - *age;
    }
    if (const std::optional<long> date = ParseDate(text, bound)) {
        return *date;
    }
    throw recorder::Error("expected a time such as 30d, 12h, 2026-11-01 or 2026-11-01T12:30:00Z, "
                          "not \"" +
                          text + '"');
}

long ParseDuration(const std::string& text) {
    constexpr long kLongest = 36500 * kSecondsPerDay; // a hundred years
    const std::optional<long> seconds = ParseAge(text);
    if (!seconds || *seconds > kLongest) {
        throw recorder::Error("expected a time such as 60s, 5m or 2h, not \"" + text + '"');
    }
    return *seconds;
}
