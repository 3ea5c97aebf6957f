// krctl camera: the recorder's cameras.

#pragma once

#include <CLI/App.hpp>

void AddCameraCommands(CLI::App& app);
