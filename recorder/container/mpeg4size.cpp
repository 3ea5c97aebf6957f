#include "recorder/container/mpeg4size.h"

#include <algorithm>
#include <bit>

namespace recorder {

namespace {

class Bits {
public:
    explicit Bits(Bytes bytes) : m_bytes(bytes) {}

    // At most 16 of them.
    uint32_t Take(std::size_t count) {
        uint32_t value = 0;
        for (; count > 0; --count, ++m_position) {
            RequireUsual(m_position / 8 < m_bytes.size());
            value = value << 1U | (m_bytes[m_position / 8] >> (7 - m_position % 8) & 1U);
        }
        return value;
    }

    void ExpectMarker() { RequireUsual(Take(1) == 1); }

private:
    Bytes m_bytes;
    std::size_t m_position = 0;
};

// What follows the start code of the one video object layer.
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
        RequireUsual(code <= kLastObject || code == kSequence || code == kVisualObject);
    }
    throw UnusualContainer();
}

void SkipPurpose(Bits& bits) {
    constexpr uint32_t kExtendedAspect = 15;
    bits.Take(1 + 8); // random access, kind of object
    if (bits.Take(1) == 1) {
        bits.Take(4 + 3); // version and priority
    }
    if (bits.Take(4) == kExtendedAspect) {
        bits.Take(16);
    }
    if (bits.Take(1) == 1) {             // control parameters
        RequireUsual(bits.Take(2) == 1); // of the colours
        bits.Take(1);
        RequireUsual(bits.Take(1) == 0); // no buffer's size
    }
}

void SkipTimes(Bits& bits) {
    const uint32_t ticks = bits.Take(16);
    RequireUsual(ticks > 0);
    bits.ExpectMarker();
    if (bits.Take(1) == 1) { // a fixed rate
        bits.Take(
            static_cast<std::size_t>(std::max(static_cast<int>(std::bit_width(ticks - 1)), 1)));
    }
}

} // namespace

PictureSize ReadMpeg4Size(Bytes header) {
    constexpr std::size_t kSizeBits = 13;
    constexpr uint32_t kRectangular = 0;
    Bits bits(LayerOf(header));
    SkipPurpose(bits);
    RequireUsual(bits.Take(2) == kRectangular);
    bits.ExpectMarker();
    SkipTimes(bits);
    bits.ExpectMarker();
    const uint32_t width = bits.Take(kSizeBits);
    bits.ExpectMarker();
    const uint32_t height = bits.Take(kSizeBits);
    bits.ExpectMarker();
    RequireUsual(width > 0 && height > 0);
    return {static_cast<int32_t>(width), static_cast<int32_t>(height)};
}

} // namespace recorder
