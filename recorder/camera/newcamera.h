// Making a camera known to the recorder.

#pragma once

#include "recorder/camera/cameratable.h"
#include "recorder/camera/volume.h"

#include <optional>
#include <string>

namespace recorder {

struct BoundCamera {
    CameraRow camera;
    std::optional<Volume> volume;            // that it is bound to now
    std::optional<std::string> volumeBefore; // the id of the one that it was bound to
};

// Gives the camera an identity, which its storage folder and its row hold, and binds it to the
// volume that the folder lies on, if there is one.
//
// Throws Error when the id is taken, the folder isn't there, belongs to another camera or lies
// inside or around another's, or when the identity or the row can't be written. When it broke off
// between the two, or the process was killed there, the same call again completes it.
BoundCamera AddNewCamera(int id, const std::string& name, const std::string& storagePath);

// Binds the camera to the volume that its storage folder lies on now, if there is one. Folder or
// row get an identity where they have none: a camera of an older version, a disk that replaces a
// lost one, a folder that lost the file. That the folder is the camera's own is the caller's word.
//
// Throws Error when there is no such camera, no such folder, when the camera was bound to a volume
// and there is none now, when the folder belongs to another camera, or when something can't be read
// or written.
BoundCamera BindCamera(int id);

// Removes the camera from the table and returns what its row was. Its files stay, and the rows of
// its recordings until the next run. Throws Error when there is no such camera, or a run is
// registered, which reads the table while it removes rows.
CameraRow ForgetCamera(int id);

} // namespace recorder
