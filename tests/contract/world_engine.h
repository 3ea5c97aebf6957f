// What the worlds of the recorder differ in: the engine below its databases.

#pragma once

#include <string>

namespace world {

// Empty tables in every database, whatever was done to them.
void RenewDatabases();

// The keys of the settings' section "database" that lead the platform to this engine.
std::string EngineSettings();

} // namespace world
