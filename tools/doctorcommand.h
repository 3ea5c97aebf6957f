// krctl doctor: what is wrong with a recorder, and what to do.

#pragma once

#include <CLI/App.hpp>

void AddDoctorCommand(CLI::App& app);
