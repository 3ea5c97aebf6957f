#include "recorder/container/container.h"

#include "recorder/container/aviheader.h"
#include "recorder/container/librarycontainer.h"
#include "recorder/container/mp4header.h"

namespace recorder {

namespace {

std::optional<ContainerInfo> ReadOrdinary(ByteSource& source, ContainerKind kind) {
    switch (kind) {
    case ContainerKind::Mp4:
        return ReadMp4Header(source);
    case ContainerKind::Avi:
        return ReadAviHeader(source);
    case ContainerKind::Mxg:
        break; // it has no header
    }
    return std::nullopt;
}

} // namespace

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
    const std::optional<ContainerInfo> ordinary = ReadOrdinary(source, kind);
    return ordinary ? *ordinary : ReadContainerByLibrary(source, kind);
}

} // namespace recorder
