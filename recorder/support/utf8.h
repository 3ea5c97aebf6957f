// Characters in UTF-8, and which of them must not reach a terminal.

#pragma once

#include <string_view>

namespace recorder {

struct Character {
    std::string_view bytes;
    char32_t code = 0;
    bool isValid = false; // false for a single byte that is not UTF-8
};

// Returns the first character of a text that is not empty.
[[nodiscard]] Character FirstCharacter(std::string_view text);

// True for characters that control a terminal or change how the text around them is displayed:
// control characters, also those above ASCII (some terminals obey U+009B like ESC [), separators of
// lines and paragraphs, and marks that change the direction of writing.
[[nodiscard]] bool IsControl(char32_t code);

// True for blanks of any width, and for characters without any width of their own that are shown
// as nothing.
[[nodiscard]] bool IsBlank(char32_t code);

} // namespace recorder
