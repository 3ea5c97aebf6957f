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
    std::string root;        // the folder that holds the identity
    bool sharesMount = true; // with the folder that was asked for
};

// The volume that `folder` (absolute; it need not be there) lies on: that of the nearest identity
// on the way from the folder up to the root, links resolved. Nothing when there is certainly none.
// Throws Error when an identity can't be read or is no UUID, and where ResolvedPath does: that is
// not the same as none.
[[nodiscard]] std::optional<Volume> VolumeOf(const std::string& folder);

enum class OtherMounts { Refused, Allowed };

// Throws Error unless `folder` lies on the volume with this id. The identity of a volume is no
// proof for what is mounted below it, which may be missing: where no other proof is asked for, the
// folder must be on the same mount as the identity.
void RequireVolume(const std::string& folder, const std::string& volumeId, OtherMounts otherMounts);

} // namespace recorder
