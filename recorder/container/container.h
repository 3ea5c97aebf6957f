// What a recording's container says about its streams.

#pragma once

#include "recorder/support/bytesource.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace recorder {

enum class ContainerKind { Mp4, Avi, Mxg };

// The kind that a file name's extension names; nothing for every other extension.
[[nodiscard]] std::optional<ContainerKind> ContainerKindOf(std::string_view fileName);

struct ContainerInfo {
    int32_t durationSec = 0; // rounded
    int32_t vdoType = 0;     // VideoType
    int32_t audType = 0;     // AudioType; of the first audio stream
    int32_t width = 0;       // pixels, of the first video stream
    int32_t height = 0;
};

// Reads the headers of a container. Nothing is probed, decoded, or read from anywhere else. An
// ordinary mp4 or avi file is read without its index, in a few blocks; libavformat judges the rest.
//
// An mxg file is a bare stream of JPEG frames, without times and without an index: its frames are
// counted, 25 to the second. Of a long one the first 8 MiB are counted and the rest is taken to be
// like them.
//
// Throws Error when the container can't be read, has no picture, or gives a length beyond 31 bits
// of seconds.
[[nodiscard]] ContainerInfo ReadContainer(ByteSource& source, ContainerKind kind);

} // namespace recorder
