#include "tools/common/terminal.h"

#include "recorder/support/format.h"

#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int kDefaultColumns = 80;

bool IsControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

bool IsContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xc0U) == 0x80U;
}

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
    for (const char c : text) {
        if (c == '\t') {
            printable += "\\t";
        } else if (c == '\n') {
            printable += "\\n";
        } else if (IsControl(c)) {
            printable +=
                recorder::Format("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        } else {
            printable += c;
        }
    }
    return printable;
}

std::size_t DisplayWidth(std::string_view text) {
    std::size_t width = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        width += i == 0 || !IsContinuation(text[i]) ? 1U : 0U;
    }
    return width;
}

std::string Shortened(std::string_view text, std::size_t width) {
    if (DisplayWidth(text) <= width) {
        return std::string(text);
    }
    if (width == 0) {
        return {};
    }
    std::size_t end = 0;
    for (std::size_t taken = 0; end < text.size(); ++end) {
        taken += end == 0 || !IsContinuation(text[end]) ? 1U : 0U;
        if (taken == width) {
            break;
        }
    }
    return std::string(text.substr(0, end)) + "…";
}
