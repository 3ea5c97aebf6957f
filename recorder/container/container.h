// What a recording's container says about its streams, and the readers of containers.

#pragma once

#include "recorder/support/bytesource.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace recorder {

enum class ContainerKind { Mp4, Avi, Mxg };

// The numbers that a recording's row holds for codecs.
enum VideoType : int {
    VIDEO_UNKNOWN = 0,
    VIDEO_MJPEG = 1,
    VIDEO_MPEG4 = 2,
    VIDEO_H264 = 3,
    VIDEO_H265 = 4
};

enum AudioType : int {
    AUDIO_UNKNOWN = 0,
    AUDIO_AAC = 1,
    AUDIO_PCM = 2,
    AUDIO_G711U = 3,
    AUDIO_G711A = 4,
    AUDIO_G726 = 5,
    AUDIO_MP3 = 6,
};

struct ContainerInfo {
    int32_t durationSec = 0; // rounded
    int32_t vdoType = 0;     // a VideoType
    int32_t audType = 0;     // an AudioType, of the first audio stream
    int32_t width = 0;       // in pixels, of the first video stream
    int32_t height = 0;
};

// Returns the kind for the extension of a file name, nothing for an unknown extension.
[[nodiscard]] std::optional<ContainerKind> ContainerKindOf(std::string_view fileName);

// Reads the headers of a container. Nothing is probed or decoded, and no other file is opened. An
// ordinary mp4 or avi file is read by ReadContainerHeader, any other one by krcontainers.
//
// An mxg file is a bare stream of JPEG frames without times and without an index. Its frames are
// counted, 25 to the second. For a file larger than 8 MiB the length is extrapolated from the
// frames in the first 8 MiB.
//
// Throws Error if the container can't be read, has no picture, or is longer than 2147483647
// seconds.
[[nodiscard]] ContainerInfo ReadContainer(ByteSource& source, ContainerKind kind);

// Reads an ordinary mp4 or avi recording in a few blocks, without its index, and returns what
// libavformat would. Returns nothing for an unusual container. Throws what the source throws.
[[nodiscard]] std::optional<ContainerInfo> ReadContainerHeader(ByteSource& source,
                                                               ContainerKind kind);

// ReadContainerHeader for mp4 recordings: the movie, track and sample description headers. The
// sample tables, nearly all of a long recording's index, are skipped, so damage in them is not
// noticed. A recording is unusual if it has fragments, data in other files, encryption, other kinds
// of tracks or damage, or if its tables could change its length.
[[nodiscard]] std::optional<ContainerInfo> ReadMp4Header(ByteSource& source);

// ReadContainerHeader for avi recordings: the main and stream headers. A recording that is damaged
// or cut off is unusual.
[[nodiscard]] std::optional<ContainerInfo> ReadAviHeader(ByteSource& source);

// Reads any container with libavformat in this process, which may crash or hang on a damaged one.
// Only krcontainers and tests do that. Throws Error like ReadContainer.
[[nodiscard]] ContainerInfo ReadAvContainer(ByteSource& source, ContainerKind kind);

} // namespace recorder
