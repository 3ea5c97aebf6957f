// The function of the module "containers".

#include "recorder/recording/avcontainer.h"
#include "recorder/recording/librarycontainer.h"

extern "C" recorder::ReadContainerFunction KestoraModuleEntry;

void KestoraModuleEntry(recorder::ByteSource& source, recorder::ContainerKind kind,
                        recorder::ContainerInfo& info) {
    info = recorder::ReadAvContainer(source, kind);
}
