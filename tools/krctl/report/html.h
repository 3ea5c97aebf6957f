// HTML built so that text is never interpreted as markup.

#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

class Html {
public:
    Html() = default;

    // Text from outside, such as the names of cameras and files: any bytes. Markup is escaped, and
    // control characters as by Printable. Bytes that are not UTF-8, and code points that are not
    // characters, become U+FFFD.
    [[nodiscard]] static Html Text(std::string_view bytes);

    // Markup written by this program.
    [[nodiscard]] static Html Markup(std::string markup);

    Html& operator+=(const Html& more);
    [[nodiscard]] const std::string& Source() const { return m_source; }
    [[nodiscard]] bool IsEmpty() const { return m_source.empty(); }

private:
    explicit Html(std::string source) : m_source(std::move(source)) {}

    std::string m_source;
};

[[nodiscard]] Html operator+(Html first, const Html& second);

// An attribute; Element escapes its value.
struct Attribute {
    const char* name;
    std::string value;
};
using Attributes = std::initializer_list<Attribute>;

[[nodiscard]] Html Element(const char* name, Attributes attributes, const Html& content);
[[nodiscard]] Html Element(const char* name, Attributes attributes, std::string_view text);

// An element without content: <meta>.
[[nodiscard]] Html VoidElement(const char* name, Attributes attributes);

// A name within a text, isolated (<bdi>) so that right-to-left characters in it do not change the
// direction of the text behind it.
[[nodiscard]] Html Name(std::string_view bytes);
