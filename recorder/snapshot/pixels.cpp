#include "recorder/snapshot/pixels.h"

#include <algorithm>
#include <array>

namespace recorder {

namespace {

constexpr int kFirstTurnedOrientation = 2;
constexpr int kLastOrientation = 8;

// The first source pixel for the pixel `index` of `count` pixels that divide `length` source
// pixels.
int Boundary(int index, int count, int length) {
    return static_cast<int>(static_cast<int64_t>(index) * length / count);
}

// The mean of the pixels in [left, right) x [top, bottom), at least one.
void Mean(const Pixels& picture, int left, int right, int top, int bottom, uint8_t* out) {
    std::array<uint32_t, Pixels::kBytesPerPixel> sums{};
    for (int y = top; y < bottom; ++y) {
        const uint8_t* pixel = picture.At(left, y);
        for (int x = left; x < right; ++x, pixel += Pixels::kBytesPerPixel) {
            for (std::size_t c = 0; c < sums.size(); ++c) {
                sums[c] += pixel[c];
            }
        }
    }
    const auto count = static_cast<uint32_t>((right - left) * (bottom - top));
    for (std::size_t c = 0; c < sums.size(); ++c) {
        out[c] = static_cast<uint8_t>((sums[c] + count / 2) / count);
    }
}

} // namespace

Pixels ShrinkTo(Pixels picture, int width) {
    if (picture.width == width) {
        return picture;
    }
    const int64_t scaledHeight = static_cast<int64_t>(picture.height) * width / picture.width;
    Pixels small(width, static_cast<int>(std::clamp<int64_t>(scaledHeight, 1, picture.height)));
    for (int y = 0; y < small.height; ++y) {
        const int top = Boundary(y, small.height, picture.height);
        const int bottom = Boundary(y + 1, small.height, picture.height);
        for (int x = 0; x < small.width; ++x) {
            Mean(picture, Boundary(x, small.width, picture.width),
                 Boundary(x + 1, small.width, picture.width), top, bottom, small.At(x, y));
        }
    }
    return small;
}

Pixels TurnUpright(Pixels picture, int orientation) {
    if (orientation < kFirstTurnedOrientation || orientation > kLastOrientation) {
        return picture;
    }
    // The eight orientations are combinations of three operations.
    const bool swapped = orientation >= 5;
    const bool fromRight =
        orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool fromBottom =
        orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
    Pixels upright(swapped ? picture.height : picture.width,
                   swapped ? picture.width : picture.height);
    for (int y = 0; y < upright.height; ++y) {
        for (int x = 0; x < upright.width; ++x) {
            const int column = swapped ? y : x;
            const int row = swapped ? x : y;
            std::copy_n(picture.At(fromRight ? picture.width - 1 - column : column,
                                   fromBottom ? picture.height - 1 - row : row),
                        Pixels::kBytesPerPixel, upright.At(x, y));
        }
    }
    return upright;
}

} // namespace recorder
