// Keeping the databases that a restore replaces.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace recorder {

struct Replaced {
    std::string folder;               // empty if there were no databases
    std::vector<std::string> damaged; // paths of databases that can't be read
    bool areAllSound = false;         // no database is missing or damaged
};

// Copies the databases into a new folder of var/db/replaced: as a backup set if all of them exist
// and are sound, otherwise those that are. Changes nothing else. The caller holds the backup lock.
// Throws Error.
[[nodiscard]] Replaced KeepDatabases();

// Moves the damaged databases, with the files that SQLite keeps beside them, into that folder.
// Throws Error.
void MoveDamaged(const Replaced& replaced);

// Like KeepDatabases, after an interrupted restore, which has kept the databases already, in
// `folder` if that is not empty. What they hold now is partly that and partly the set, so only
// damaged ones are kept.
[[nodiscard]] Replaced KeepDamagedDatabases(const std::string& folder);

// What restores have kept in var/db/replaced.
struct KeptByRestores {
    int folders = 0;
    int64_t bytes = 0;
    int64_t oldestTm = 0; // when the oldest folder was made or changed, seconds since the epoch
};

// Throws Error if it can't be determined.
[[nodiscard]] KeptByRestores FindKeptByRestores();

} // namespace recorder
