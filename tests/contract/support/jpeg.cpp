#include "tests/contract/support/jpeg.h"

#include "tests/contract/support/files.h"
#include "tests/contract/support/process.h"

#include <cstdint>
#include <cstdlib>
#include <stdexcept>

namespace contract {

namespace {

constexpr int kTolerance = 40;
constexpr std::size_t kHeightInFrame = 5; // after the marker, the length and the precision

int Number(const std::string& bytes, std::size_t offset) {
    return static_cast<uint8_t>(bytes.at(offset)) << 8 | static_cast<uint8_t>(bytes.at(offset + 1));
}

void PutNumber(std::string& bytes, std::size_t offset, int number) {
    bytes.at(offset) = static_cast<char>(number >> 8);
    bytes.at(offset + 1) = static_cast<char>(number);
}

// The offset of the frame header: 0xc0 marks a baseline picture, 0xc2 a progressive one.
std::size_t FrameOffset(const std::string& jpeg) {
    std::size_t offset = 2;
    while (jpeg.at(offset + 1) != '\xc0' && jpeg.at(offset + 1) != '\xc2') {
        offset += 2 + static_cast<std::size_t>(Number(jpeg, offset + 2));
    }
    return offset;
}

} // namespace

PictureSize SizeOf(const std::string& jpeg) {
    const std::size_t frame = FrameOffset(jpeg);
    return {Number(jpeg, frame + kHeightInFrame + 2), Number(jpeg, frame + kHeightInFrame)};
}

std::string WithSize(std::string jpeg, PictureSize size) {
    const std::size_t frame = FrameOffset(jpeg);
    PutNumber(jpeg, frame + kHeightInFrame, size.height);
    PutNumber(jpeg, frame + kHeightInFrame + 2, size.width);
    return jpeg;
}

std::string WithOrientation(const std::string& jpeg, int orientation) {
    using namespace std::string_literals;
    std::string segment = "\xff\xe1\0\0Exif\0\0MM\0*\0\0\0\x08\0\x01"s // header, one entry:
                          "\x01\x12\0\x03\0\0\0\x01\0\0\0\0"s          // orientation, a short
                          "\0\0\0\0"s;                                 // no further directory
    PutNumber(segment, 2, static_cast<int>(segment.size()) - 2);
    PutNumber(segment, segment.size() - 8, orientation);
    return jpeg.substr(0, 2) + segment + jpeg.substr(2);
}

std::array<Rgb, 4> QuartersOf(const std::string& path) {
    const PictureSize size = SizeOf(ReadFile(path));
    const std::string pixels = OutputOf("ffmpeg -nostdin -v error -i '" + path +
                                        "' -f rawvideo -pix_fmt rgb24 - 2>/dev/null");
    const auto at = [&](int x, int y) {
        Rgb colour{};
        for (std::size_t c = 0; c < colour.size(); ++c) {
            colour.at(c) = static_cast<uint8_t>(
                pixels.at(static_cast<std::size_t>(y * size.width + x) * colour.size() + c));
        }
        return colour;
    };
    const int left = size.width / 4;
    const int right = size.width * 3 / 4;
    const int above = size.height / 4;
    const int below = size.height * 3 / 4;
    return {at(left, above), at(right, above), at(left, below), at(right, below)};
}

bool IsLike(const Rgb& a, const Rgb& b) {
    for (std::size_t c = 0; c < a.size(); ++c) {
        if (std::abs(a.at(c) - b.at(c)) > kTolerance) {
            return false;
        }
    }
    return true;
}

} // namespace contract
