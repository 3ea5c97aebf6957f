// Adding cameras to the recorder, binding them to volumes, and removing them.

#pragma once

#include "recorder/camera/cameratable.h"
#include "recorder/camera/volume.h"

#include <optional>
#include <string>

namespace recorder {

struct BoundCamera {
    CameraRow camera;
    std::optional<Volume> volume;            // the volume it is bound to now
    std::optional<std::string> volumeBefore; // id of the volume it was bound to before
};

// Adds a camera. Writes a new identity to its storage folder and its row, and binds it to the
// volume of the folder, if there is one.
//
// Throws Error if the id or the name is in use, if the name is blank, has control characters or is
// not UTF-8, if the folder does not exist, belongs to another camera or is
// inside or around another camera's, or when the identity or the row can't be written. If only the
// identity was written, the same call completes the camera later.
BoundCamera AddNewCamera(int id, const std::string& name, const std::string& storagePath);

// Binds the camera to the volume that its storage folder is on now, if there is one. Adds the
// identity where the folder or the row has none: for a camera of an older version, a replaced disk,
// or a deleted identity file. The caller vouches for the folder being the camera's.
//
// Throws Error if the camera or its folder does not exist, if the camera was bound to a volume and
// there is none now, if the folder belongs to another camera, or when a file or row can't be read
// or written.
BoundCamera BindCamera(int id);

// Removes the camera from the table and returns its former row. Its files stay, and the rows of its
// recordings stay until the next run. Throws Error if there is no such camera, or if a run is
// registered, because a run reads the table while it removes rows.
CameraRow ForgetCamera(int id);

} // namespace recorder
