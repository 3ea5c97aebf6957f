#include "recorder/camera/volume.h"

#include "platform/utility.h"
#include "recorder/camera/identityfile.h"
#include "recorder/support/error.h"
#include "recorder/support/mount.h"
#include "recorder/support/presence.h"
#include "recorder/support/uuid.h"

namespace recorder {

namespace {

constexpr std::size_t kMaxIdentityBytes = 64; // more than a UUID and a newline

std::optional<std::string> ReadVolumeId(const std::string& path) {
    std::optional<std::string> id = ReadIdentityFile(path, kMaxIdentityBytes);
    while (id && id->ends_with('\n')) {
        id->pop_back();
    }
    if (id && !IsUuid(*id)) {
        throw Error("the file " + path + " holds no volume id; expected a UUID");
    }
    return id;
}

} // namespace

std::optional<Volume> VolumeOf(const std::string& folder) {
    if (!folder.starts_with('/')) {
        throw Error("can't determine the volume of \"" + folder + "\": expected an absolute path");
    }
    const std::string resolved = ResolvedPath(folder); // the target of a link has its own volume
    for (std::string root = resolved;; root = GetDirPath(root)) {
        const std::string inRoot = root.ends_with('/') ? root : root + "/";
        if (std::optional<std::string> id = ReadVolumeId(inRoot + kIdentityFileName)) {
            return Volume{std::move(*id), root, AreOnOneMount(ExistingPart(resolved), root)};
        }
        if (root == "/") {
            return std::nullopt;
        }
    }
}

void RequireVolume(const std::string& folder, const std::string& volumeId,
                   OtherMounts otherMounts) {
    const std::optional<Volume> found = VolumeOf(folder);
    if (!found || found->id != volumeId) {
        throw Error("the volume " + volumeId + " is not mounted at " + folder + ": found " +
                    (found ? "the volume " + found->id : std::string("no volume identity")));
    }
    if (!found->sharesMount && otherMounts == OtherMounts::Refused) {
        throw Error("the volume " + volumeId + " is no proof for " + folder + ": its identity in " +
                    found->root + " is on another mount");
    }
}

} // namespace recorder
