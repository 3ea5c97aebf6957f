#include "recorder/recording/librarycontainer.h"

#include "recorder/module/module.h"

namespace recorder {

namespace {

ReadContainerFunction* Library() {
    static auto* const read = ModuleFunction<ReadContainerFunction>("containers");
    return read;
}

} // namespace

ContainerInfo ReadContainerByLibrary(ByteSource& source, ContainerKind kind) {
    ContainerInfo info;
    Library()(source, kind, info);
    return info;
}

void LoadContainerLibrary() {
    (void)Library();
}

} // namespace recorder
