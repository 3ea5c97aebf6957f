// The identity file of a camera, with untrusted bytes from any disk.

#include "recorder/camera/cameraidentity.h"
#include "recorder/support/error.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const recorder::CameraIdentity identity = recorder::ParseCameraIdentity(text, "fuzz");
        if (identity.id < 1 || recorder::CameraIdentityText(identity) != text) {
            __builtin_trap(); // writing the identity gives the same text
        }
    } catch (const recorder::Error& error) {
        if (!std::string_view(error.what()).starts_with("the file fuzz holds no")) {
            __builtin_trap(); // a refusal names the file
        }
    }
    return 0;
}
