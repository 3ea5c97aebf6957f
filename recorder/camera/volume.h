// The identity of a storage volume: a disk that is not mounted, or another one in its place, is not
// taken for a disk whose files are gone.

#pragma once

#include <optional>
#include <string>

namespace recorder {

// The file in a volume's root folder that holds its identity, a UUID.
constexpr const char* kIdentityFileName = ".kestora-volume";

struct Volume {
    std::string id;
    std::string root; // the folder that holds the identity
};

// The volume that `folder` (absolute; it need not be there) lies on: that of the nearest identity
// on the way from the folder up to the root, links resolved. Nothing when there is certainly none.
// Throws Error when an identity can't be read or is no UUID: that is not the same as none.
[[nodiscard]] std::optional<Volume> VolumeOf(const std::string& folder);

// Throws Error unless `folder` lies on the volume with this id.
void DemandVolume(const std::string& folder, const std::string& volumeId);

} // namespace recorder
