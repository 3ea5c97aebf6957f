// Keeping the databases that a restore replaces.

#pragma once

#include <string>
#include <vector>

namespace recorder {

struct Replaced {
    std::string folder;               // empty if there were no databases
    std::vector<std::string> damaged; // paths of databases that can't be read
};

// Copies the databases into a new folder of var/db/replaced: as a backup set if all of them exist
// and are sound, otherwise those that are. Changes nothing else. Throws Error.
[[nodiscard]] Replaced KeepDatabases();

// Moves the damaged databases, with the files that SQLite keeps beside them, into that folder.
// Throws Error.
void MoveDamaged(const Replaced& replaced);

// Like KeepDatabases, after an interrupted restore, which has kept the databases already. What they
// hold now is partly that and partly the set, so only damaged ones are kept.
[[nodiscard]] Replaced KeepDamagedDatabases();

} // namespace recorder
