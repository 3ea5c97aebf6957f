#include "recorder/recording/container.h"

#include "recorder/recording/avcontainer.h"

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

ContainerInfo ReadContainer(ByteSource& source, ContainerKind kind) {
    return ReadContainerByLibrary(source, kind);
}

} // namespace recorder
