// The way to libavformat. What is behind it lies in a module.

#pragma once

#include "recorder/recording/container.h"

namespace recorder {

// As ReadContainer, and the judge of every container that is out of the ordinary. Throws Error also
// when the module can't be used.
[[nodiscard]] ContainerInfo ReadContainerByLibrary(ByteSource& source, ContainerKind kind);

// The module's function.
using ReadContainerFunction = void(ByteSource& source, ContainerKind kind, ContainerInfo& info);

} // namespace recorder
