// krctl runs, krctl undo: what runs did, and taking it back.

#pragma once

#include <CLI/CLI.hpp>

void AddLedgerCommands(CLI::App& app);
