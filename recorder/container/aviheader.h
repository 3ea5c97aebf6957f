// The headers of an ordinary avi recording, read without its indexes.

#pragma once

#include "recorder/container/container.h"

namespace recorder {

// What libavformat would say, from the main and stream headers alone. Nothing where the recording
// is out of the ordinary or cut off. Throws what the source throws.
[[nodiscard]] std::optional<ContainerInfo> ReadAviHeader(ByteSource& source);

} // namespace recorder
