// libavformat, wrapped: what it says about a container's streams.

#pragma once

#include "recorder/recording/container.h"

namespace recorder {

// As ReadContainerByLibrary.
[[nodiscard]] ContainerInfo ReadAvContainer(ByteSource& source, ContainerKind kind);

} // namespace recorder
