// The properties that a recording's row holds, from the boxes of an mp4.

#pragma once

#include <cstdint>
#include <string>

namespace floors {

struct Mp4 {
    int64_t sizeBytes = 0;
    int64_t durationSec = 0; // rounded
    bool hasH264 = false;
    bool hasAac = false;
    int width = 0; // pixels
    int height = 0;
};

// Reads a block of 4 KiB for each box outside the blocks already read: three blocks for a file with
// a picture and a sound track whose long sample tables are at the end. Throws std::runtime_error.
[[nodiscard]] Mp4 ReadMp4(const std::string& path);

} // namespace floors
