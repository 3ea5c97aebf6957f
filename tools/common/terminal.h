// What krctl knows of the place that it writes to.

#pragma once

#include <string>
#include <string_view>

// Whether somebody looks: the file descriptor is a terminal.
[[nodiscard]] bool IsTerminal(int fd);

// The terminal's width in characters; 80 where it isn't told.
[[nodiscard]] int TerminalColumns(int fd);

// Colour is for terminals, and not for those whose user has set NO_COLOR (to anything but nothing).
[[nodiscard]] bool UsesColour(int fd);

// The text with its control characters escaped (\t, \n, \x1b): a file can be named so that its name
// moves the cursor or looks like a line of its own. Other bytes stay as they are.
[[nodiscard]] std::string Printable(std::string_view text);

// The number of characters of a text in UTF-8; bytes that are none count one each.
[[nodiscard]] std::size_t DisplayWidth(std::string_view text);

// The text with at most `width` characters: what is too long ends in "…".
[[nodiscard]] std::string Shortened(std::string_view text, std::size_t width);
