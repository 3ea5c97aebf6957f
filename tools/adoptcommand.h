// krctl camera adopt: cameras that are found on a disk.

#pragma once

#include <CLI/App.hpp>

// `command` is krctl camera.
void AddAdoptCommand(CLI::App& command);
