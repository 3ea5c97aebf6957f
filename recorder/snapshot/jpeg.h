// TurboJPEG, wrapped: the size of a JPEG picture, and a smaller one made of it. It lies in modules.

#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace recorder {

struct JpegHeader {
    int width = 0; // pixels, as stored; an orientation mark isn't applied
    int height = 0;
};

// Throws Error when the bytes are no JPEG picture.
[[nodiscard]] JpegHeader ReadJpegHeader(std::span<const uint8_t> jpeg);

// A JPEG picture of at most `maxWidth` pixels across, upright whatever the orientation mark of the
// original says. The original is decoded at the smallest scale that gives enough pixels. One that
// breaks off is used as far as it goes.
//
// Throws Error when the bytes are no JPEG picture, it claims more than 100 megapixels, or it can't
// be decoded.
[[nodiscard]] std::vector<uint8_t> MakeSmallJpeg(std::span<const uint8_t> jpeg, int maxWidth);

// The function of the module "thumbnails".
using MakeSmallJpegFunction = void(std::span<const uint8_t> jpeg, int maxWidth,
                                   std::vector<uint8_t>& small);

} // namespace recorder
