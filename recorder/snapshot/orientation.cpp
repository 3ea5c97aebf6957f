#include "recorder/snapshot/orientation.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>

namespace recorder {

namespace {

constexpr int kUpright = 1;
constexpr int kLastOrientation = 8;
constexpr uint8_t kMarkerPrefix = 0xff;
constexpr uint8_t kStartOfScan = 0xda;
constexpr uint8_t kApp1 = 0xe1;
constexpr std::string_view kExifPrefix("Exif\0\0", 6);
constexpr uint32_t kOrientationTag = 0x0112;
constexpr std::size_t kTiffHeaderBytes = 8;
constexpr std::size_t kTiffEntryBytes = 12;

// Reads big- or little-endian numbers of a block. A number beyond the end of the block reads as 0,
// which is not a valid value of any field.
class Numbers {
public:
    Numbers(std::span<const uint8_t> bytes, bool bigEndian)
        : m_bytes(bytes), m_bigEndian(bigEndian) {}

    [[nodiscard]] uint32_t At(std::size_t offset, std::size_t length) const {
        if (offset > m_bytes.size() || length > m_bytes.size() - offset) {
            return 0;
        }
        uint32_t value = 0;
        for (std::size_t i = 0; i < length; ++i) {
            const std::size_t place = m_bigEndian ? i : length - 1 - i;
            value = (value << 8U) | m_bytes[offset + place];
        }
        return value;
    }

private:
    std::span<const uint8_t> m_bytes;
    bool m_bigEndian;
};

// The Exif block of a picture: the content of its first APP1 segment of that type.
std::optional<std::span<const uint8_t>> ExifBlock(std::span<const uint8_t> jpeg) {
    const Numbers numbers(jpeg, true);
    std::size_t offset = 2; // behind the start of the image
    while (offset + 4 <= jpeg.size() && jpeg[offset] == kMarkerPrefix &&
           jpeg[offset + 1] != kStartOfScan) {
        const std::size_t length = numbers.At(offset + 2, 2);
        const std::span<const uint8_t> rest = jpeg.subspan(offset + 4);
        if (length < 2 || length - 2 > rest.size()) {
            return std::nullopt;
        }
        const std::span<const uint8_t> segment = rest.first(length - 2);
        if (jpeg[offset + 1] == kApp1 && segment.size() > kExifPrefix.size() &&
            std::equal(kExifPrefix.begin(), kExifPrefix.end(), segment.begin(),
                       [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; })) {
            return segment.subspan(kExifPrefix.size());
        }
        offset += 2 + length;
    }
    return std::nullopt;
}

} // namespace

int ExifOrientation(std::span<const uint8_t> jpeg) {
    const std::optional<std::span<const uint8_t>> exif = ExifBlock(jpeg);
    if (!exif || exif->size() < kTiffHeaderBytes) {
        return kUpright;
    }
    const Numbers tiff(*exif, exif->front() == 'M');
    const std::size_t directory = tiff.At(4, 4);
    const std::size_t entries = tiff.At(directory, 2);
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t entry = directory + 2 + i * kTiffEntryBytes;
        if (tiff.At(entry, 2) == kOrientationTag) {
            const auto orientation = static_cast<int>(tiff.At(entry + 8, 2));
            return orientation >= kUpright && orientation <= kLastOrientation ? orientation
                                                                              : kUpright;
        }
    }
    return kUpright;
}

} // namespace recorder
