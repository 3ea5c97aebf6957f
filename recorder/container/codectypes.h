// The numbers that stand for codecs in a recording's properties.

#pragma once

namespace recorder {

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

} // namespace recorder
