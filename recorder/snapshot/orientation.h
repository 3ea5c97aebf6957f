// The orientation mark of a JPEG picture.

#pragma once

#include <cstdint>
#include <span>

namespace recorder {

// The Exif orientation: 1 (upright) to 8, as the standard numbers them. 1 when the picture has no
// such mark or it can't be read.
[[nodiscard]] int ExifOrientation(std::span<const uint8_t> jpeg);

} // namespace recorder
