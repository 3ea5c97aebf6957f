// The help of krctl and its commands, and the messages about wrong usage.

#pragma once

#include <string>

#include <CLI/CLI.hpp>

// Formats the help of a command: one line about it, usage, commands, arguments and options. Lines
// are as wide as the terminal on standard output, or 80 columns.
class HelpFormatter : public CLI::FormatterBase {
public:
    [[nodiscard]] std::string make_help(const CLI::App* command, std::string words,
                                        CLI::AppFormatMode mode) const override;
};

// Checks that an option is an integer from 1 to `last`.
[[nodiscard]] CLI::Validator PositiveInteger(long last);

// The message about wrong usage, with the command that shows the help.
[[nodiscard]] std::string UsageMessage(const CLI::App& app, const CLI::ParseError& error);
