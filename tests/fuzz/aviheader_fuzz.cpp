// The reader of ordinary avi recordings with untrusted bytes. If it gives an answer, libavformat
// gives the same one: libavformat refuses no recording because of its index.

#include "recorder/container/container.h"
#include "tests/fuzz/sameanswer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    recorder::MemorySource source({data, size});
    const auto info = recorder::ReadAviHeader(source);
    if (info && !fuzz::LibraryAgrees(*info, source, recorder::ContainerKind::Avi)) {
        __builtin_trap();
    }
    return 0;
}
