// The database engine below the recorder's world; each engine implements these functions.

#pragma once

#include <string>

namespace world {

// Gives every database empty tables, whatever was done to them before. The caller has emptied the
// folder of the databases.
void ResetDatabases();

// The keys of the settings' section "database" that select this engine.
std::string EngineSettings();

} // namespace world
