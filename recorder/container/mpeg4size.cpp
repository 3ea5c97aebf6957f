#include "recorder/container/mp4sampleentry.h"

#include <algorithm>
#include <bit>

namespace recorder {

namespace {

class Bits {
public:
    explicit Bits(Bytes bytes) : m_bytes(bytes) {}

    // Returns the next bits, at most 16, as a number.
    uint32_t Take(std::size_t count) {
        uint32_t value = 0;
        for (; count > 0; --count, ++m_position) {
            RequireOrdinary(m_position / 8 < m_bytes.size());
            value = value << 1U | (m_bytes[m_position / 8] >> (7 - m_position % 8) & 1U);
        }
        return value;
    }

    void ExpectMarker() { RequireOrdinary(Take(1) == 1); }

private:
    Bytes m_bytes;
    std::size_t m_position = 0;
};

// Returns the bytes after the start code of the first video object layer.
Bytes LayerOf(Bytes header) {
    constexpr uint32_t kStart = 1;
    constexpr uint8_t kFirstLayer = 0x20;
    constexpr uint8_t kLastLayer = 0x2f;
    constexpr uint8_t kLastObject = 0x1f;
    constexpr uint8_t kSequence = 0xb0;
    constexpr uint8_t kVisualObject = 0xb5;
    for (std::size_t at = 0; at + 4 <= header.size(); ++at) {
        const uint8_t code = header[at + 3];
        if (Big32(header, at) >> 8U != kStart) {
            continue;
        }
        if (code >= kFirstLayer && code <= kLastLayer) {
            return header.subspan(at + 4);
        }
        RequireOrdinary(code <= kLastObject || code == kSequence || code == kVisualObject);
    }
    throw UnusualContainer();
}

void SkipPurpose(Bits& bits) {
    constexpr uint32_t kExtendedAspect = 15;
    bits.Take(1 + 8); // random access, object type
    if (bits.Take(1) == 1) {
        bits.Take(4 + 3); // version and priority
    }
    if (bits.Take(4) == kExtendedAspect) {
        bits.Take(16);
    }
    if (bits.Take(1) == 1) {                // control parameters
        RequireOrdinary(bits.Take(2) == 1); // the colour format
        bits.Take(1);                       // low delay
        RequireOrdinary(bits.Take(1) == 0); // no buffer parameters
    }
}

void SkipTimes(Bits& bits) {
    const uint32_t ticks = bits.Take(16);
    RequireOrdinary(ticks > 0);
    bits.ExpectMarker();
    if (bits.Take(1) == 1) { // a fixed rate
        bits.Take(
            static_cast<std::size_t>(std::max(static_cast<int>(std::bit_width(ticks - 1)), 1)));
    }
}

} // namespace

void ReadMpeg4Size(Bytes header, ContainerInfo& info) {
    constexpr std::size_t kSizeBits = 13;
    constexpr uint32_t kRectangular = 0;
    Bits bits(LayerOf(header));
    SkipPurpose(bits);
    RequireOrdinary(bits.Take(2) == kRectangular);
    bits.ExpectMarker();
    SkipTimes(bits);
    bits.ExpectMarker();
    info.width = static_cast<int32_t>(bits.Take(kSizeBits));
    bits.ExpectMarker();
    info.height = static_cast<int32_t>(bits.Take(kSizeBits));
    bits.ExpectMarker();
    RequireOrdinary(info.width > 0 && info.height > 0);
}

} // namespace recorder
