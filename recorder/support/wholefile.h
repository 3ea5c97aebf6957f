// Writing a file so that it appears whole or not at all.

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include <sys/types.h>

namespace recorder {

// Writes `bytes` as the file `name` in the open folder: under a temporary name
// (temporaryfile.h), flushed to the disk, then renamed over what may be there. A link of that name
// is replaced, not followed. `mode` is set whatever the umask; without one it is 0640 at most.
//
// Throws Error; the folder is then as it was.
void WriteWholeFile(int folder, const std::string& name, std::span<const uint8_t> bytes,
                    std::optional<mode_t> mode = std::nullopt);

// The same for a file that must not be there yet, with exactly this mode, whatever the umask. Its
// name is on the disk too when this returns.
//
// FileOwner::OfFolder: what root writes is the folder owner's, where the file system knows owners.
//
// Throws Error also when anything of that name is there, which then stays as it is.
enum class FileOwner { Self, OfFolder };
void WriteNewFile(int folder, const std::string& name, std::span<const uint8_t> bytes, mode_t mode,
                  FileOwner owner = FileOwner::Self);

} // namespace recorder
