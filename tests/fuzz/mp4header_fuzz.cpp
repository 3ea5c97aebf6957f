// The reader of ordinary mp4 recordings on foreign bytes. Where it answers, libavformat gives the
// same answer, or refuses the recording for what is wrong within its sample tables or its tags:
// those are passed over. Without them libavformat gives an answer, too.

#include "recorder/container/mp4header.h"
#include "tests/fuzz/sameanswer.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

// The recording with every box that is named like a table, or like the box of tags, renamed to one
// that is passed over.
std::vector<uint8_t> WithoutTables(const uint8_t* data, size_t size) {
    constexpr std::array<std::string_view, 11> kTables{
        "stts", "ctts", "cslg", "stss", "stsc", "stsz", "stco", "co64", "sgpd", "sbgp", "udta"};
    constexpr std::string_view kPassedOver = "free";
    std::vector<uint8_t> bytes(data, data + size);
    for (const std::string_view table : kTables) {
        for (auto at = bytes.begin();; at += static_cast<std::ptrdiff_t>(kPassedOver.size())) {
            at = std::search(at, bytes.end(), table.begin(), table.end());
            if (at == bytes.end()) {
                break;
            }
            std::copy(kPassedOver.begin(), kPassedOver.end(), at);
        }
    }
    return bytes;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    recorder::MemorySource source({data, size});
    const auto info = recorder::ReadMp4Header(source);
    if (!info || fuzz::LibraryAgrees(*info, source, recorder::ContainerKind::Mp4)) {
        return 0;
    }
    const std::vector<uint8_t> bytes = WithoutTables(data, size);
    recorder::MemorySource withoutTables(bytes);
    try {
        (void)recorder::ReadAvContainer(withoutTables, recorder::ContainerKind::Mp4);
    } catch (const recorder::Error&) {
        __builtin_trap();
    }
    return 0;
}
