// Writing a file so that it appears whole or not at all.

#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace recorder {

// Writes `bytes` as the file `name` in the open folder: under a temporary name, flushed to the
// disk, then renamed over what may be there. A link of that name is replaced, not followed.
//
// Throws Error; the folder is then as it was.
void WriteWholeFile(int folder, const std::string& name, std::span<const uint8_t> bytes);

} // namespace recorder
