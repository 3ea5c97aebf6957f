// A picture in memory.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace recorder {

struct Pixels {
    Pixels(int w, int h)
        : width(w), height(h),
          rgb(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * kBytesPerPixel) {}

    static constexpr std::size_t kBytesPerPixel = 3;

    [[nodiscard]] std::size_t Offset(int x, int y) const {
        return (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                static_cast<std::size_t>(x)) *
               kBytesPerPixel;
    }
    [[nodiscard]] uint8_t* At(int x, int y) { return &rgb[Offset(x, y)]; }
    [[nodiscard]] const uint8_t* At(int x, int y) const { return &rgb[Offset(x, y)]; }

    int width;
    int height;
    std::vector<uint8_t> rgb; // rows from the top, red, green, blue of each pixel
};

// Returns the picture scaled down to `width` pixels, which must not exceed its width. Each pixel is
// the mean of the source pixels that it replaces.
[[nodiscard]] Pixels ShrinkTo(Pixels picture, int width);

// Returns the picture turned upright; `orientation` is its Exif orientation, 1 to 8.
[[nodiscard]] Pixels TurnUpright(Pixels picture, int orientation);

} // namespace recorder
