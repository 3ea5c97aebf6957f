#include "recorder/support/timetext.h"

#include <array>
#include <ctime>

namespace recorder {

namespace {

bool HasFourDigitYear(const struct tm& time) {
    constexpr int kFirst = 1000 - 1900;
    constexpr int kLast = 9999 - 1900;
    return time.tm_year >= kFirst && time.tm_year <= kLast;
}

std::string Formatted(const struct tm& time, const char* format) {
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), format, &time)};
}

} // namespace

std::string TimeText(long timeTm) {
    constexpr std::size_t kMinutesOfOffset = 2;
    const std::time_t seconds = timeTm;
    struct tm local = {};
    if (localtime_r(&seconds, &local) == nullptr || !HasFourDigitYear(local)) {
        return "@" + std::to_string(timeTm);
    }
    std::string text = Formatted(local, "%Y-%m-%dT%H:%M:%S%z");
    return text.insert(text.size() - kMinutesOfOffset, ":");
}

std::optional<std::string> UtcTimeText(long timeTm) {
    const std::time_t seconds = timeTm;
    struct tm utc = {};
    if (gmtime_r(&seconds, &utc) == nullptr || !HasFourDigitYear(utc)) {
        return std::nullopt;
    }
    return Formatted(utc, "%Y-%m-%dT%H:%M:%SZ");
}

} // namespace recorder
