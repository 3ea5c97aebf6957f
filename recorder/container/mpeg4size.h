// The picture size in the header of MPEG-4 video, which libavformat takes in place of the
// container's.

#pragma once

#include "recorder/container/headerblocks.h"

namespace recorder {

struct PictureSize {
    int32_t width = 0;
    int32_t height = 0;
};

// Of a rectangular video object layer. UnusualContainer, where the header holds anything else.
[[nodiscard]] PictureSize ReadMpeg4Size(Bytes header);

} // namespace recorder
