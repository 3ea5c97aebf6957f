#include "recorder/support/uuid.h"

#include "recorder/support/error.h"

#include <array>
#include <cctype>
#include <cstdint>

#include <sys/random.h>

namespace recorder {

namespace {

constexpr std::size_t kLength = 36;

bool IsDashPlace(std::size_t place) {
    return place == 8 || place == 13 || place == 18 || place == 23;
}

} // namespace

std::string NewUuid() {
    std::array<uint8_t, 16> bytes{};
    // getrandom returns so few bytes completely and uninterrupted, or fails.
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw SystemError("get random bytes");
    }
    bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0FU) | 0x40U); // version 4: random
    bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3FU) | 0x80U); // the variant of RFC 4122
    std::string text;
    for (const uint8_t byte : bytes) {
        constexpr const char* kDigits = "0123456789abcdef";
        text += IsDashPlace(text.size()) ? "-" : "";
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0x0FU];
    }
    return text;
}

bool IsUuid(std::string_view text) {
    if (text.size() != kLength) {
        return false;
    }
    for (std::size_t place = 0; place < kLength; ++place) {
        const char c = text[place];
        if (IsDashPlace(place) ? c != '-' : std::isxdigit(static_cast<unsigned char>(c)) == 0) {
            return false;
        }
    }
    return true;
}

} // namespace recorder
