// The headers of an ordinary mp4 recording, read without its sample tables.

#pragma once

#include "recorder/container/container.h"

namespace recorder {

// What libavformat would say, from the movie, track and sample description headers alone: the
// tables that make up nearly all of a long recording's index are passed over. Nothing where the
// recording is out of the ordinary (fragments, other files' data, encryption, further kinds of
// tracks, damage), or where the tables could change the length. What is wrong within the tables
// goes unseen. Throws what the source throws.
[[nodiscard]] std::optional<ContainerInfo> ReadMp4Header(ByteSource& source);

} // namespace recorder
