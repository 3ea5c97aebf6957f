// krctl volume: the identities of the disks that cameras record to.

#pragma once

#include <CLI/App.hpp>

void AddVolumeCommands(CLI::App& app);
