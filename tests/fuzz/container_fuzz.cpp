// The judge of containers out of the ordinary on foreign bytes, as each of the kinds that it knows.

#include "recorder/container/avcontainer.h"
#include "recorder/support/error.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using recorder::ContainerKind;
    for (const ContainerKind kind : {ContainerKind::Mp4, ContainerKind::Avi, ContainerKind::Mxg}) {
        recorder::MemorySource source({data, size});
        try {
            const recorder::ContainerInfo info = recorder::ReadAvContainer(source, kind);
            if (info.durationSec < 0 || info.width < 0 || info.height < 0) {
                __builtin_trap();
            }
        } catch (const recorder::Error&) {
            // Refused with a reason, as it should be.
        }
    }
    return 0;
}
