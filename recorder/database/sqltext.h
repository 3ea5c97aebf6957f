// Values in SQL: texts as literals, ids as lists.

#pragma once

#include <string>
#include <string_view>

namespace recorder {

// `text` as a literal that is read back unchanged: file names hold quotes, newlines and bytes of no
// encoding. It must hold no NUL.
[[nodiscard]] std::string Quote(std::string_view text);

// The ids of all items, in decimal, separated by ",". `idOf` takes an item to its id.
template <typename Items, typename IdOf>
[[nodiscard]] std::string JoinIds(const Items& items, const IdOf& idOf) {
    std::string text;
    for (const auto& item : items) {
        if (!text.empty()) {
            text += ',';
        }
        text += std::to_string(idOf(item));
    }
    return text;
}

} // namespace recorder
