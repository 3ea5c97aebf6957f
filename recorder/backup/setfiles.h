// The texts of a backup set: its description ("set") and its checksums ("SHA256SUMS").

#pragma once

#include "recorder/backup/backupset.h"
#include "recorder/support/uniquefd.h"

#include <array>
#include <string>

namespace recorder {

constexpr const char* kDescriptionFile = "set";
constexpr const char* kChecksumFile = "SHA256SUMS";

// The highest number of a set: it is that of a forged or damaged description.
constexpr long kMaxSetNumber = 1000000000000;

// The files of a set that have a checksum: all but the list of checksums itself.
inline constexpr std::array kCheckedFiles{"system.db", "recording.db", "snapshot.db",
                                          kDescriptionFile};

// Both write into the open folder of a set, on the disk when they return. `path` is the folder's,
// for messages. The checksums are those of the other files as they are on the disk now. Throw
// Error.
void WriteDescription(const UniqueFd& folder, const BackupSet& set);
void WriteChecksums(const UniqueFd& folder, const std::string& path);

// The description of the set in the open folder; its size is the sum of the sizes of its files.
// Throws Error if there is no readable one, or a newer version of krctl wrote it.
[[nodiscard]] BackupSet ReadDescription(const UniqueFd& folder, const std::string& path);

// Throws Error, naming the file, if a file of the set is missing, could have been written by
// another user (trust.h), or differs from its checksum.
void RequireChecksums(const UniqueFd& folder, const std::string& path);

} // namespace recorder
