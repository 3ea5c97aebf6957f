// What a recording's row holds, from the boxes of an mp4 that say it.

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

// Reads 4 KiB wherever a box is looked at that isn't at hand, so three times for a picture and a
// sound track with long sample tables at the end of the file. Throws std::runtime_error.
[[nodiscard]] Mp4 ReadMp4(const std::string& path);

} // namespace floors
