// The settings file with untrusted bytes.

#include "recorder/settings/settings.h"
#include "recorder/support/error.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const recorder::Settings settings = recorder::ParseSettings(text, "fuzz.toml");
        if (!settings.snapshot.folder.starts_with('/') || settings.database.lockTimeoutMs < 0) {
            __builtin_trap();
        }
    } catch (const recorder::Error& error) {
        if (!std::string_view(error.what()).starts_with("fuzz.toml:")) {
            __builtin_trap(); // a refusal names the file and the line
        }
    }
    return 0;
}
