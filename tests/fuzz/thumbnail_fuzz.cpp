// Thumbnails made from untrusted bytes.

#include "recorder/snapshot/jpeg.h"
#include "recorder/support/error.h"

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr int kMaxWidth = 320;
    try {
        const std::vector<uint8_t> small = recorder::MakeSmallJpeg({data, size}, kMaxWidth);
        if (recorder::ReadJpegHeader(small).width > kMaxWidth) {
            __builtin_trap();
        }
    } catch (const recorder::Error&) {
        // Refusing the bytes is correct.
    }
    return 0;
}
