// The messages about a camera and its volume.

#pragma once

#include "recorder/camera/newcamera.h"

// Prints which volume the camera is bound to, or warns on standard error if that binding doesn't
// protect the camera's rows.
void PrintBinding(const recorder::BoundCamera& bound);
