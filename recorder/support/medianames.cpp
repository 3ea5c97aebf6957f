#include "recorder/support/medianames.h"

#include <algorithm>
#include <charconv>

namespace recorder {

namespace {

constexpr std::size_t kDateDigits = 8;
constexpr std::size_t kStartDigits = 10;
constexpr std::string_view kLockedSuffix = "-LOCK";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

} // namespace

bool IsHalfDayName(std::string_view name) {
    const std::string_view date = name.substr(0, kDateDigits);
    const std::string_view half = name.substr(date.size());
    return date.size() == kDateDigits && std::all_of(date.begin(), date.end(), IsDigit) &&
           (half == "AM" || half == "PM");
}

std::optional<int64_t> StartTmOfName(std::string_view path) {
    std::string_view stem = path.substr(path.rfind('/') + 1);
    stem = stem.substr(0, stem.rfind('.'));
    if (stem.ends_with(kLockedSuffix)) {
        stem.remove_suffix(kLockedSuffix.size());
    }
    const std::string_view digits = stem.substr(stem.size() - std::min(stem.size(), kStartDigits));
    const char* const end = digits.data() + digits.size();
    int64_t startTm = 0;
    const auto [parsed, error] = std::from_chars(digits.data(), end, startTm);
    if (digits.size() != kStartDigits || error != std::errc() || parsed != end || startTm < 0) {
        return std::nullopt;
    }
    return startTm;
}

} // namespace recorder
