#include "recorder/recording/librarycontainer.h"

#include "recorder/module/module.h"

namespace recorder {

ContainerInfo ReadContainerByLibrary(ByteSource& source, ContainerKind kind) {
    static auto* const read = ModuleFunction<ReadContainerFunction>(kContainersModule);
    ContainerInfo info;
    read(source, kind, info);
    return info;
}

} // namespace recorder
