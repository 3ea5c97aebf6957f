#include "recorder/container/container.h"

#include "platform/recording.h"

std::string GetAudioType(int audType) {
    switch (audType) {
    case recorder::AUDIO_AAC:
        return "AAC";
    case recorder::AUDIO_PCM:
        return "PCM";
    case recorder::AUDIO_G711U:
        return "G711U";
    case recorder::AUDIO_G711A:
        return "G711A";
    case recorder::AUDIO_G726:
        return "G726";
    case recorder::AUDIO_MP3:
        return "MP3";
    default:
        return "";
    }
}

namespace recorder {

std::optional<ContainerKind> ContainerKindOf(std::string_view fileName) {
    if (fileName.ends_with(".mp4")) {
        return ContainerKind::Mp4;
    }
    if (fileName.ends_with(".avi")) {
        return ContainerKind::Avi;
    }
    if (fileName.ends_with(".mxg")) {
        return ContainerKind::Mxg;
    }
    return std::nullopt;
}

std::optional<ContainerInfo> ReadContainerHeader(ByteSource& source, ContainerKind kind) {
    switch (kind) {
    case ContainerKind::Mp4:
        return ReadMp4Header(source);
    case ContainerKind::Avi:
        return ReadAviHeader(source);
    case ContainerKind::Mxg:
        break; // has no header
    }
    return std::nullopt;
}

} // namespace recorder
