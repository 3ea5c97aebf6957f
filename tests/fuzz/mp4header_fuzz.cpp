// The reader of ordinary mp4 recordings with untrusted bytes. If it gives an answer, libavformat
// gives the same one, or refuses the recording because of damage in the sample tables or tags,
// which the reader skips. Without the tables and tags libavformat gives an answer.

#include "recorder/container/container.h"
#include "tests/fuzz/sameanswer.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

// The recording with the names of all tables and of the box of tags replaced by the name of a box
// that is skipped.
std::vector<uint8_t> WithoutTables(const uint8_t* data, size_t size) {
    constexpr std::array<std::string_view, 11> kTables{
        "stts", "ctts", "cslg", "stss", "stsc", "stsz", "stco", "co64", "sgpd", "sbgp", "udta"};
    constexpr std::string_view kSkipped = "free";
    std::vector<uint8_t> bytes(data, data + size);
    for (const std::string_view table : kTables) {
        for (auto at = bytes.begin();; at += static_cast<std::ptrdiff_t>(kSkipped.size())) {
            at = std::search(at, bytes.end(), table.begin(), table.end());
            if (at == bytes.end()) {
                break;
            }
            std::copy(kSkipped.begin(), kSkipped.end(), at);
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
