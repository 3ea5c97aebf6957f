// The reader that uses libavformat, with untrusted bytes as each kind of container.

#include "recorder/container/container.h"
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
            // Refusing the bytes is correct.
        }
    }
    return 0;
}
