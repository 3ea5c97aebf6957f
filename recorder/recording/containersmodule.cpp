// The function of the module "containers".

#include "recorder/recording/avcontainer.h"
#include "recorder/recording/librarycontainer.h"

// NOLINTNEXTLINE(readability-identifier-naming): a name for the loader, as C has it
extern "C" recorder::ReadContainerFunction kestora_module_entry;

// NOLINTNEXTLINE(readability-identifier-naming): a name for the loader, as C has it
void kestora_module_entry(recorder::ByteSource& source, recorder::ContainerKind kind,
                          recorder::ContainerInfo& info) {
    info = recorder::ReadAvContainer(source, kind);
}
