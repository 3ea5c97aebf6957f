// The codec and the picture size in the sample entry of an mp4 recording's track.

#pragma once

#include "recorder/container/container.h"
#include "recorder/container/headerblocks.h"

namespace recorder {

// Set the codec (and for video the size) in `info`. `entry` is one sample entry with its size and
// name. Throw UnusualContainer if it isn't known how libavformat would read the entry.
void ReadVideoEntry(Bytes entry, ContainerInfo& info);
void ReadAudioEntry(Bytes entry, ContainerInfo& info);

// Sets the size from the header of MPEG-4 video, which libavformat uses instead of the size in the
// container. Throws UnusualContainer if it isn't the header of one rectangular layer.
void ReadMpeg4Size(Bytes header, ContainerInfo& info);

} // namespace recorder
