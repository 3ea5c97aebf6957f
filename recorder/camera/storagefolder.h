// The rule that the storage folders of two cameras are neither the same nor inside each other:
// otherwise a run would treat the files of one camera as those of the other.

#pragma once

#include "recorder/camera/cameratable.h"

#include <string>

namespace recorder {

// All functions throw Error when a folder can't be examined.

// Returns true if both paths resolve to the same folder, which need not exist.
[[nodiscard]] bool IsSameFolder(const std::string& a, const std::string& b);

// The position of `folder` relative to `other`: "the same as", "inside" or "around"; empty if they
// are separate.
[[nodiscard]] std::string Overlap(const std::string& folder, const std::string& other);

// Throws Error if `folder` is the storage folder of another camera than `id`, is inside or around
// it, or is inside a folder that holds another camera's identity. Ignores a row whose storage
// folder holds the identity of a camera other than the row's.
void RequireOwnFolder(const std::string& folder, int id);

} // namespace recorder
