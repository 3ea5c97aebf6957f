#include "recorder/support/utf8.h"

namespace recorder {

namespace {

// The number of bytes that the first one announces, and the smallest code of that length.
struct Utf8Form {
    std::size_t length = 0;
    char32_t smallest = 0;
};

Utf8Form FormOf(unsigned char first) {
    if (first < 0x80U) {
        return {1, 0};
    }
    if ((first & 0xe0U) == 0xc0U) {
        return {2, 0x80};
    }
    if ((first & 0xf0U) == 0xe0U) {
        return {3, 0x800};
    }
    return (first & 0xf8U) == 0xf0U ? Utf8Form{4, 0x10000} : Utf8Form{};
}

} // namespace

Character FirstCharacter(std::string_view text) {
    constexpr unsigned kBitsOfContinuation = 6;
    const auto first = static_cast<unsigned char>(text.front());
    const Utf8Form form = FormOf(first);
    if (form.length == 0 || form.length > text.size()) {
        return {text.substr(0, 1)};
    }
    char32_t code = form.length == 1 ? first : first & (0x7fU >> form.length);
    for (std::size_t i = 1; i < form.length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xc0U) != 0x80U) {
            return {text.substr(0, 1)};
        }
        code = code << kBitsOfContinuation | (byte & 0x3fU);
    }
    const bool isSurrogate = code >= 0xd800 && code <= 0xdfff;
    const bool isValid = code >= form.smallest && code <= 0x10ffff && !isSurrogate;
    return isValid ? Character{text.substr(0, form.length), code, true}
                   : Character{text.substr(0, 1)};
}

bool IsControl(char32_t code) {
    const bool isDirection = code == 0x061c || code == 0x200e || code == 0x200f ||
                             (code >= 0x202a && code <= 0x202e) ||
                             (code >= 0x2066 && code <= 0x2069);
    const bool isSeparator = code == 0x2028 || code == 0x2029;
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || isDirection || isSeparator;
}

bool IsBlank(char32_t code) {
    const bool isInvisible = code == 0xad || code == 0x034f || code == 0x115f || code == 0x1160 ||
                             code == 0x3164 || code == 0xfeff || code == 0xffa0 ||
                             (code >= 0x2060 && code <= 0x2064);
    return code == ' ' || code == 0xa0 || code == 0x1680 || (code >= 0x2000 && code <= 0x200d) ||
           code == 0x202f || code == 0x205f || code == 0x3000 || code == 0x2800 || isInvisible;
}

} // namespace recorder
