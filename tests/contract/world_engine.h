// What the worlds of the recorder differ in: the engine below its databases.

#pragma once

#include <string>

namespace world {

// Puts empty tables into every database, whatever was done to them before. The folder of databases
// is empty.
void RenewDatabases();

// The keys of the settings' section "database" that lead the platform to this engine.
std::string EngineSettings();

} // namespace world
