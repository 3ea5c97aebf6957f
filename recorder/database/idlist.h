// Ids as a list in SQL or JSON.

#pragma once

#include <string>

namespace recorder {

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
