#include "recorder/database/sqltext.h"

namespace recorder {

std::string Quote(std::string_view text) {
    std::string literal = "'";
    literal.reserve(text.size() + 2);
    for (const char c : text) {
        if (c == '\'') {
            literal += c;
        }
        literal += c;
    }
    literal += '\'';
    return literal;
}

} // namespace recorder
