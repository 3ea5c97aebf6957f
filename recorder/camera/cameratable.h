// The camera table.

#pragma once

#include <optional>
#include <string>
#include <vector>

namespace recorder {

struct CameraRow {
    int id = 0;
    std::string name;
    int dsId = 0;                             // data source that records it; 0 = this recorder
    std::string storagePath;                  // absolute
    std::optional<std::string> volumeId = {}; // UUID of the volume that it lies on; nothing = any
    std::optional<std::string> uuid =
        {}; // as its storage folder's identity says; nothing = none yet
};

// All throw Error when the table can't be read or written.

[[nodiscard]] std::optional<CameraRow> FindCamera(int id);

// Throws Error also when there is no such camera.
[[nodiscard]] CameraRow RequireCamera(int id);

// In ascending order of their ids.
[[nodiscard]] std::vector<CameraRow> ListCameras();

// Throws Error also when the id is taken.
void AddCamera(const CameraRow& camera);

// Brings the row with this id to what `camera` says.
void UpdateCamera(const CameraRow& camera);

// Its recordings' rows stay.
void RemoveCamera(int id);

} // namespace recorder
