// The help of krctl and its commands, and the messages about wrong usage.

#pragma once

#include "tools/common/moment.h"

#include <string>
#include <vector>

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

// Checks that an option is one of these texts.
[[nodiscard]] CLI::Validator OneOf(const std::vector<std::string>& texts);

// "krctl 1.2.3"
[[nodiscard]] std::string VersionText();

// The subcommand of `app` with this name; null if there is none.
[[nodiscard]] const CLI::App* FindCommand(const CLI::App& app, const std::string& name);

// "unknown command "plna"; did you mean "plan"?"; the first part alone if no name is similar.
[[nodiscard]] std::string UnknownCommandText(const CLI::App& app, const std::string& name);

// The text, followed by: see "krctl plan --help", where `words` is "krctl plan".
[[nodiscard]] std::string WithHelpHint(const std::string& text, const std::string& words);
// Checks that an option is a text that ParseMoment accepts.
[[nodiscard]] CLI::Validator MomentOption(Bound bound);

// Checks that an option is a text that ParseDuration accepts.
[[nodiscard]] CLI::Validator DurationOption();

// The message about wrong usage, with the command that shows the help.
[[nodiscard]] std::string UsageMessage(const CLI::App& app, const CLI::ParseError& error);
