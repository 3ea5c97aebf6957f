// JPEG pictures as bytes: variants to make thumbnails from, and the examination of thumbnails.

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

// The size in the frame header.
PictureSize SizeOf(const std::string& jpeg);

// The picture with another size in its frame header.
std::string WithSize(std::string jpeg, PictureSize size);

// The picture with an Exif block that contains this orientation.
std::string WithOrientation(const std::string& jpeg, int orientation);

// The colours in the middle of the quarters, as another program decodes them: top left, top right,
// bottom left, bottom right.
std::array<Rgb, 4> QuartersOf(const std::string& path);

// True if two colours look the same.
bool IsLike(const Rgb& a, const Rgb& b);

} // namespace contract
