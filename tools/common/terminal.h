// The terminal that krctl writes to, and texts that fit into it.

#pragma once

#include <string>
#include <string_view>

// Returns true if the file descriptor is a terminal.
[[nodiscard]] bool IsTerminal(int fd);

// Returns the terminal's width in characters; 80 if it is unknown.
[[nodiscard]] int TerminalColumns(int fd);

// Returns the text in a colour if standard output is a terminal, unless NO_COLOR is set and not
// empty.
enum class Colour { Green, Yellow, Red };
[[nodiscard]] std::string Coloured(Colour colour, const std::string& text);

// Returns the text with its control characters escaped (\t, \n, \x1b): otherwise a file's name
// could move the cursor or look like a separate line. So are bytes that are not UTF-8, which
// terminals show differently.
[[nodiscard]] std::string Printable(std::string_view text);

// Returns the number of columns that a terminal needs for the text: two for most East Asian
// characters, none for a combining accent. An invalid byte counts as one.
[[nodiscard]] std::size_t DisplayWidth(std::string_view text);

// Returns the text cut to at most `width` columns; a cut text ends in "…".
[[nodiscard]] std::string Shortened(std::string_view text, std::size_t width);
