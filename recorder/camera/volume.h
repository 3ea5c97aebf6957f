// The identity of a storage volume. It distinguishes a disk whose files were deleted from a disk
// that is not mounted, or was replaced by another one.

#pragma once

#include <optional>
#include <string>

namespace recorder {

// The file in a volume's root folder that holds its identity, a UUID.
constexpr const char* kIdentityFileName = ".kestora-volume";

struct Volume {
    std::string id;
    std::string root;        // the folder that holds the identity
    bool sharesMount = true; // true: the queried folder is on the same mount as `root`
};

[[nodiscard]] inline std::optional<std::string> IdOf(const std::optional<Volume>& volume) {
    return volume ? std::optional(volume->id) : std::nullopt;
}

// Returns the volume that `folder` (absolute; need not exist) is on: the nearest identity between
// the folder, links resolved, and the root. Returns nothing only if there certainly is none. Throws
// Error when an identity can't be read or is no UUID, and when ResolvedPath does.
[[nodiscard]] std::optional<Volume> VolumeOf(const std::string& folder);

enum class OtherMounts { Refused, Allowed };

// Throws Error unless `folder` is on the volume with this id. The identity of a volume proves
// nothing about a disk mounted below it, which may be missing. Without other proof (Refused) the
// folder must therefore be on the same mount as the identity.
void RequireVolume(const std::string& folder, const std::string& volumeId, OtherMounts otherMounts);

// Makes `folder` (absolute) the root of a volume with a new identity, and returns its id. The
// identity is on the disk when this returns; a crash leaves either a complete file or none.
//
// Throws Error if `folder` is not a folder, can't be written to, or has an identity, which then
// stays as it is and is named in the message.
std::string InitVolume(const std::string& folder);

} // namespace recorder
