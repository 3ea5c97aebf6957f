// The reader of ordinary avi recordings on foreign bytes. Where it answers, libavformat gives the
// same answer: it refuses no recording for its index.

#include "recorder/container/aviheader.h"
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
