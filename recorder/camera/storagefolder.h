// No two cameras share a storage folder, nor does one lie in the other's: a run would take the
// files of the one for the other's.

#pragma once

#include "recorder/camera/cameratable.h"

#include <string>

namespace recorder {

// Both throw Error when it can't be told, because a folder can't be looked at.

// Whether both lead to the same folder, or would.
[[nodiscard]] bool IsSameFolder(const std::string& a, const std::string& b);

// How `folder` lies to another: "the same as", "inside", "around"; empty when they are apart.
[[nodiscard]] std::string Overlap(const std::string& folder, const std::string& other);

// Throws Error when `folder` is the storage folder of another camera than `id`, or lies inside or
// around it, or inside a folder that carries another camera's identity. A row whose folder carries
// somebody else's identity by now says nothing.
void RequireOwnFolder(const std::string& folder, int id);

} // namespace recorder
