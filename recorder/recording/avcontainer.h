// libavformat, wrapped: what it says about a container's streams.

#pragma once

#include "recorder/recording/container.h"

namespace recorder {

// As ReadContainer.
[[nodiscard]] ContainerInfo ReadContainerByLibrary(ByteSource& source, ContainerKind kind);

} // namespace recorder
