// The way to libavformat, which is in a process of its own (krcontainers). That one is started when
// it is first needed and stays as long as this one does.

#pragma once

#include "recorder/recording/container.h"

namespace recorder {

// As ReadAvContainer. Throws Error also when krcontainers can't be started, or didn't survive the
// container.
[[nodiscard]] ContainerInfo ReadContainerByLibrary(ByteSource& source, ContainerKind kind);

// Starts krcontainers now. Throws Error when ReadContainerByLibrary would for want of it.
void DemandContainerLibrary();

} // namespace recorder
