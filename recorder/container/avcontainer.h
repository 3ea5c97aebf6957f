// libavformat, wrapped: what it says about a container's streams. A run uses it by
// ReadContainerByLibrary only.

#pragma once

#include "recorder/container/container.h"

namespace recorder {

// As ReadContainer, and the judge of every container that is out of the ordinary.
[[nodiscard]] ContainerInfo ReadAvContainer(ByteSource& source, ContainerKind kind);

} // namespace recorder
