// The codec and the picture size that a track's sample entry in an mp4 recording tells.

#pragma once

#include "recorder/container/container.h"
#include "recorder/container/headerblocks.h"

namespace recorder {

// Fill in their part. `entry` is one sample entry with its size and name. UnusualContainer, where
// it isn't known what libavformat makes of it.
void ReadVideoEntry(Bytes entry, ContainerInfo& info);
void ReadAudioEntry(Bytes entry, ContainerInfo& info);

} // namespace recorder
