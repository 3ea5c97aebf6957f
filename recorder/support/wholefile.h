// Writing a file so that it appears complete or not at all.

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include <sys/types.h>

namespace recorder {

// Writes all bytes to the open file and flushes them to the disk. Throws Error.
void WriteAndFlush(int file, std::span<const uint8_t> bytes);

// Writes `bytes` to the file `name` in the open folder: writes a temporary file (temporaryfile.h),
// flushes it to the disk and renames it, which replaces an existing file or link. `mode` is set
// regardless of the umask; without it the mode is 0640 at most.
//
// Throws Error; the folder is then unchanged.
void WriteWholeFile(int folder, const std::string& name, std::span<const uint8_t> bytes,
                    std::optional<mode_t> mode = std::nullopt);

// Like WriteWholeFile, for a file that must not exist yet. It gets exactly this mode, and its name
// is flushed to the disk too.
//
// FileOwner::OfFolder: a file written by root gets the folder's owner, if the file system has
// owners.
//
// Also throws Error if an entry of that name exists, which then stays unchanged.
enum class FileOwner { Self, OfFolder };
void WriteNewFile(int folder, const std::string& name, std::span<const uint8_t> bytes, mode_t mode,
                  FileOwner owner = FileOwner::Self);

} // namespace recorder
