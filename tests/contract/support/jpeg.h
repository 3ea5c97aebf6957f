// JPEG pictures, by their bytes: what a thumbnail must be made of, and what it looks like.

#pragma once

#include <array>
#include <string>

namespace contract {

using Rgb = std::array<int, 3>;

struct PictureSize {
    int width = 0;
    int height = 0;
    bool operator==(const PictureSize&) const = default;
};

// The size that the frame header tells.
PictureSize SizeOf(const std::string& jpeg);

// The picture with another size in its frame header.
std::string WithSize(std::string jpeg, PictureSize size);

// The picture with an Exif block that says how it is to be turned.
std::string WithOrientation(const std::string& jpeg, int orientation);

// The colours of four places, as another program decodes the picture file: left above, right above,
// left below, right below, each in the middle of its quarter.
std::array<Rgb, 4> QuartersOf(const std::string& path);

// Whether two colours look the same.
bool IsLike(const Rgb& a, const Rgb& b);

} // namespace contract
