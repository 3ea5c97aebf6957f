#include "tools/krctl/report/texts.h"

std::string Grouped(long number) {
    constexpr std::size_t kGroup = 3;
    const std::string digits = std::to_string(number);
    std::string text;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const bool afterDigit = i > 0 && digits[i - 1] != '-';
        if (afterDigit && (digits.size() - i) % kGroup == 0) {
            text += ',';
        }
        text += digits[i];
    }
    return text;
}

std::string Grouped(long number, const std::string& noun) {
    return Grouped(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string Capitalised(std::string text) {
    const bool isSmall = !text.empty() && text[0] >= 'a' && text[0] <= 'z';
    if (isSmall) {
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    }
    return text;
}
