#include "tools/krctl/report/recordingname.h"

#include <charconv>

std::optional<long> StartTmOfName(std::string_view path) {
    constexpr std::string_view kLock = "-LOCK";
    constexpr std::size_t kDigits = 10;
    path = path.substr(0, path.rfind('.'));
    if (path.ends_with(kLock)) {
        path.remove_suffix(kLock.size());
    }
    if (path.size() < kDigits) {
        return std::nullopt;
    }
    const std::string_view digits = path.substr(path.size() - kDigits);
    const char* const end = digits.data() + digits.size();
    long startTm = 0;
    const auto [parsed, error] = std::from_chars(digits.data(), end, startTm);
    return error == std::errc() && parsed == end && startTm >= 0 ? std::optional(startTm)
                                                                 : std::nullopt;
}
