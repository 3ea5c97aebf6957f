// The identity of a storage volume: a disk that is not mounted, or another one in its place, is not
// taken for a disk whose files are gone.

#pragma once

#include <string>

namespace recorder {

// Throws Error unless the volume that `folder` (absolute) lies on has this identity: the nearest
// file
// ".kestora-volume" on the way from the folder up to the root holds it. The folder itself need not
// be there.
void DemandVolume(const std::string& folder, const std::string& volumeId);

} // namespace recorder
