// What a command says of a camera and its volume.

#pragma once

#include "recorder/camera/newcamera.h"

// Prints which volume the camera is bound to; on standard error where that protects it from
// nothing.
void PrintBinding(const recorder::BoundCamera& bound);
