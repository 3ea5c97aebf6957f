#include "tools/krctl/report/html.h"

#include "tools/common/json.h"
#include "tools/common/terminal.h"

#include <cstdint>

namespace {

constexpr const char* kReplacement = "\xef\xbf\xbd"; // U+FFFD

std::size_t LengthOf(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    return lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
}

std::uint32_t CodePoint(std::string_view character) {
    if (character.size() == 1) {
        return static_cast<unsigned char>(character[0]);
    }
    std::uint32_t code = static_cast<unsigned char>(character[0]) & (0xffU >> character.size());
    for (const char c : character.substr(1)) {
        code = (code << 6U) | (static_cast<unsigned char>(c) & 0x3fU);
    }
    return code;
}

// Returns true for code points that a document must not contain: the control characters U+007F to
// U+009F, and code points that are not characters.
bool IsForbidden(std::uint32_t code) {
    return (code >= 0x7f && code <= 0x9f) || (code >= 0xfdd0 && code <= 0xfdef) ||
           (code & 0xfffeU) == 0xfffe;
}

std::string Escaped(std::string_view character) {
    switch (character[0]) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\'':
        return "&#39;";
    default:
        return IsForbidden(CodePoint(character)) ? kReplacement : std::string(character);
    }
}

std::string EscapedText(std::string_view bytes) {
    const std::string text = JsonText(Printable(bytes)).get<std::string>(); // valid UTF-8
    const std::string_view rest = text;
    std::string escaped;
    escaped.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = LengthOf(static_cast<unsigned char>(text[i]));
        escaped += Escaped(rest.substr(i, length));
        i += length;
    }
    return escaped;
}

std::string OpeningTag(const char* name, Attributes attributes) {
    std::string tag = std::string("<") + name;
    for (const Attribute& attribute : attributes) {
        tag += std::string(" ") + attribute.name + "=\"" + EscapedText(attribute.value) + "\"";
    }
    return tag + ">";
}

} // namespace

Html Html::Text(std::string_view bytes) {
    return Html(EscapedText(bytes));
}

Html Html::Markup(std::string markup) {
    return Html(std::move(markup));
}

Html& Html::operator+=(const Html& more) {
    m_source += more.m_source;
    return *this;
}

Html operator+(Html first, const Html& second) {
    first += second;
    return first;
}

Html Element(const char* name, Attributes attributes, const Html& content) {
    return Html::Markup(OpeningTag(name, attributes) + content.Source() + "</" + name + ">");
}

Html Element(const char* name, Attributes attributes, std::string_view text) {
    return Element(name, attributes, Html::Text(text));
}

Html VoidElement(const char* name, Attributes attributes) {
    return Html::Markup(OpeningTag(name, attributes));
}

Html Name(std::string_view bytes) {
    return Element("bdi", {}, bytes);
}
