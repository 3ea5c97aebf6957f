// The camera table, and the lock of the commands that change it.

#pragma once

#include "recorder/support/uniquefd.h"

#include <optional>
#include <string>
#include <vector>

namespace recorder {

struct CameraRow {
    int id = 0;
    std::string name;
    int dsId = 0;                             // data source that records it; 0 = this recorder
    std::string storagePath;                  // absolute
    std::optional<std::string> volumeId = {}; // UUID of the volume it is bound to; nothing = none
    std::optional<std::string> uuid = {};     // its identity; nothing = none yet
};

// All functions throw Error when the table can't be read or written.

[[nodiscard]] std::optional<CameraRow> FindCamera(int id);

// Throws NotFound when there is no such camera.
[[nodiscard]] CameraRow RequireCamera(int id);

// Returns all cameras in ascending order of their ids.
[[nodiscard]] std::vector<CameraRow> ListCameras();

// Throws Error also when the id is in use.
void AddCamera(const CameraRow& camera);

// Replaces the values in the row with the camera's id.
void UpdateCamera(const CameraRow& camera);

// Removes the camera's row. The rows of its recordings stay.
void RemoveCamera(int id);

// Takes the lock that a command holds while it changes the set of cameras, so that what it has
// checked is still true when it writes. Waits for another holder as long as for another writer of a
// database. The lock is held until the result is closed or the process ends. Throws Busy when the
// lock isn't free by then, DatabaseUnusable if the recorder has no databases yet.
[[nodiscard]] UniqueFd LockCameras();

} // namespace recorder
