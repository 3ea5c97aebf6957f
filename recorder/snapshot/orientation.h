// The orientation mark of a JPEG picture.

#pragma once

#include <cstdint>
#include <span>

namespace recorder {

// Returns the Exif orientation: 1 (upright) to 8, as the standard numbers them. Returns 1 if the
// picture has no such mark, or if the mark can't be read.
[[nodiscard]] int ExifOrientation(std::span<const uint8_t> jpeg);

} // namespace recorder
