// The coverage of a camera's time by its recordings, from its rows and the names of its files.

#pragma once

#include "recorder/coverage/coverage.h"

#include <string>
#include <vector>

namespace recorder {

struct CameraCoverage {
    std::vector<Interval> coverage;
    std::vector<std::string> problems; // what could not be examined, and why; empty: complete
};

// Returns the coverage of the camera from `sinceTm` to `untilTm`, in seconds since the epoch. Each
// half-day folder of that time is listed once. Only files without a row are opened, for their
// length. `nowTm` is the present time: a file that changed within the last minutes is a recording
// in progress. Changes nothing. Throws Error if the rows can't be read.
[[nodiscard]] CameraCoverage CoverageOfCamera(int camId, long sinceTm, long untilTm, long nowTm);

} // namespace recorder
