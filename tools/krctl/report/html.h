// HTML, put together so that no text is ever taken for markup.

#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

class Html {
public:
    Html() = default;

    // What comes from elsewhere: names of cameras and files are any bytes. Markup is escaped, and
    // so are control characters, as Printable does; what is no UTF-8 or no character becomes
    // U+FFFD.
    [[nodiscard]] static Html Text(std::string_view bytes);

    // What this program wrote itself.
    [[nodiscard]] static Html Markup(std::string markup);

    Html& operator+=(const Html& more);
    [[nodiscard]] const std::string& Source() const { return m_source; }
    [[nodiscard]] bool IsEmpty() const { return m_source.empty(); }

private:
    explicit Html(std::string source) : m_source(std::move(source)) {}

    std::string m_source;
};

[[nodiscard]] Html operator+(Html first, const Html& second);

// The value is escaped.
struct Attribute {
    const char* name;
    std::string value;
};
using Attributes = std::initializer_list<Attribute>;

[[nodiscard]] Html Element(const char* name, Attributes attributes, const Html& content);
[[nodiscard]] Html Element(const char* name, Attributes attributes, std::string_view text);

// One without content: <meta>.
[[nodiscard]] Html VoidElement(const char* name, Attributes attributes);

// A name in a text: it can't turn the direction of what follows it.
[[nodiscard]] Html Name(std::string_view bytes);
