// The wrapper of TurboJPEG: reads the size of a JPEG picture, and makes a smaller one of it. It is
// part of modules only (module/module.h).

#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace recorder {

constexpr int kMaxThumbnailWidth = 320; // pixels

struct JpegHeader {
    int width = 0; // pixels, as stored: the orientation mark is not applied
    int height = 0;
};

// Throws Error if the bytes are not a JPEG picture.
[[nodiscard]] JpegHeader ReadJpegHeader(std::span<const uint8_t> jpeg);

// Makes a JPEG picture that is at most `maxWidth` pixels wide, and upright whatever orientation
// mark the original has. The original is decoded at the smallest scale that gives enough pixels. If
// it is truncated, the existing part is used.
//
// Throws Error if the bytes are not a JPEG picture, if the picture has more than 100 megapixels, or
// if it can't be decoded.
[[nodiscard]] std::vector<uint8_t> MakeSmallJpeg(std::span<const uint8_t> jpeg, int maxWidth);

// The function of the module "thumbnails".
using MakeSmallJpegFunction = void(std::span<const uint8_t> jpeg, int maxWidth,
                                   std::vector<uint8_t>& small);

} // namespace recorder
