// krctl plan: what krindexer would do, without doing it.

#pragma once

#include <CLI/App.hpp>

void AddPlanCommand(CLI::App& app);
