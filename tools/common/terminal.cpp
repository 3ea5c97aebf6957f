#include "tools/common/terminal.h"

#include "recorder/support/format.h"

#include <clocale>
#include <cstdlib>
#include <cwchar>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int kDefaultColumns = 80;

struct Character {
    std::string_view bytes;
    char32_t code = 0;
    bool isValid = false; // false for a single byte that is not UTF-8
};

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

// The first character of a text that is not empty.
Character FirstOf(std::string_view text) {
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

// Calls take(character) for each character of the text, until it returns false.
template <typename Take> void ForEachCharacter(std::string_view text, const Take& take) {
    while (!text.empty()) {
        const Character character = FirstOf(text);
        if (!take(character)) {
            return;
        }
        text.remove_prefix(character.bytes.size());
    }
}

// True also for the control characters above ASCII: some terminals obey U+009B like ESC [.
bool IsControl(char32_t code) {
    return code < 0x20 || (code >= 0x7f && code < 0xa0);
}

std::string Escaped(char32_t code) {
    switch (code) {
    case '\t':
        return "\\t";
    case '\n':
        return "\\n";
    default:
        return recorder::Format("\\x%02x", static_cast<unsigned>(code));
    }
}

// The C library knows the widths only in a locale with UTF-8. While an object exists, its thread
// uses one, whatever locale the user has.
class WidthsOfUtf8 {
public:
    WidthsOfUtf8() : m_before(uselocale(Locale())) {}
    ~WidthsOfUtf8() { uselocale(m_before); }
    WidthsOfUtf8(const WidthsOfUtf8&) = delete;
    WidthsOfUtf8& operator=(const WidthsOfUtf8&) = delete;
    WidthsOfUtf8(WidthsOfUtf8&&) = delete;
    WidthsOfUtf8& operator=(WidthsOfUtf8&&) = delete;

    // One column for a character without a known width, and for every character if the system has
    // no such locale.
    static std::size_t Of(const Character& character) {
        const int width = character.isValid ? wcwidth(static_cast<wchar_t>(character.code)) : 1;
        return width < 0 ? 1 : static_cast<std::size_t>(width);
    }

private:
    static locale_t Locale() {
        static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return utf8; // null leaves the thread's locale unchanged
    }

    locale_t m_before;
};

const char* CodeOf(Colour colour) {
    switch (colour) {
    case Colour::Green:
        return "32";
    case Colour::Yellow:
        return "33";
    case Colour::Red:
        return "1;31";
    }
    return "0";
}

} // namespace

bool IsTerminal(int fd) {
    return isatty(fd) == 1;
}

int TerminalColumns(int fd) {
    struct winsize size = {};
    const bool known = ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return known ? size.ws_col : kDefaultColumns;
}

std::string Coloured(Colour colour, const std::string& text) {
    const char* const noColour = std::getenv("NO_COLOR");
    if (!IsTerminal(STDOUT_FILENO) || (noColour != nullptr && *noColour != '\0')) {
        return text;
    }
    return "\x1b[" + std::string(CodeOf(colour)) + "m" + text + "\x1b[0m";
}

std::string Printable(std::string_view text) {
    std::string printable;
    printable.reserve(text.size());
    ForEachCharacter(text, [&](const Character& character) {
        if (!character.isValid) {
            printable += Escaped(static_cast<unsigned char>(character.bytes.front()));
        } else if (IsControl(character.code)) {
            printable += Escaped(character.code);
        } else {
            printable += character.bytes;
        }
        return true;
    });
    return printable;
}

std::size_t DisplayWidth(std::string_view text) {
    const WidthsOfUtf8 widths;
    std::size_t width = 0;
    ForEachCharacter(text, [&](const Character& character) {
        width += WidthsOfUtf8::Of(character);
        return true;
    });
    return width;
}

std::string Shortened(std::string_view text, std::size_t width) {
    if (DisplayWidth(text) <= width) {
        return std::string(text);
    }
    if (width == 0) {
        return {};
    }
    const WidthsOfUtf8 widths;
    std::string shortened;
    std::size_t used = 1; // by the ellipsis
    ForEachCharacter(text, [&](const Character& character) {
        used += WidthsOfUtf8::Of(character);
        if (used > width) {
            return false;
        }
        shortened += character.bytes;
        return true;
    });
    return shortened + "…";
}
