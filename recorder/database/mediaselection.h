// The kinds and cameras that a command is restricted to.

#pragma once

#include "recorder/database/mediatable.h"

#include <string>
#include <vector>

namespace recorder {

// By default: every kind of every camera. Cameras restrict the kinds that have cameras. Without
// kinds, they also exclude those that have none: snapshots and e-maps.
struct MediaSelection {
    std::vector<int> cameras = {};       // ids; empty: every camera, also deleted ones
    std::vector<std::string> kinds = {}; // tables; empty: see above

    [[nodiscard]] bool IsAll() const { return cameras.empty() && kinds.empty(); }

    // Returns true if rows of this table are selected, perhaps only those of some cameras.
    [[nodiscard]] bool IncludesKind(const MediaTable& table) const;
    // Returns true if rows of this table and camera are selected; 0 for a kind without cameras.
    [[nodiscard]] bool Includes(const std::string& table, int camId) const;

    // The condition of a statement for the selected rows of a table that IncludesKind:
    // "camera_id IN (1, 2)", or "1 = 1" for all rows.
    [[nodiscard]] std::string RowsSql(const MediaTable& table) const;

    bool operator==(const MediaSelection&) const = default;
};

// Returns true if the rows of the table belong to cameras.
[[nodiscard]] bool HasCameras(const MediaTable& table);

} // namespace recorder
