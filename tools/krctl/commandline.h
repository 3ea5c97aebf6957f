// All commands of krctl and their options.

#pragma once

#include <string>

#include <CLI/CLI.hpp>

// Adds the commands to an empty `app`.
void AddCommands(CLI::App& app);

// The command that was parsed: "camera add".
[[nodiscard]] std::string ParsedCommand(const CLI::App& app);
