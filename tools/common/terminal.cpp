#include "tools/common/terminal.h"

#include "recorder/support/format.h"
#include "recorder/support/utf8.h"

#include <clocale>
#include <cstdlib>
#include <cwchar>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

using recorder::Character;
using recorder::IsControl;

constexpr int kDefaultColumns = 80;

// Calls take(character) for each character of the text, until it returns false.
template <typename Take> void ForEachCharacter(std::string_view text, const Take& take) {
    while (!text.empty()) {
        const Character character = recorder::FirstCharacter(text);
        if (!take(character)) {
            return;
        }
        text.remove_prefix(character.bytes.size());
    }
}

std::string Escaped(char32_t code) {
    switch (code) {
    case '\t':
        return "\\t";
    case '\n':
        return "\\n";
    default:
        return recorder::Format(code < 0x100 ? "\\x%02x" : "\\u%04x", static_cast<unsigned>(code));
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
