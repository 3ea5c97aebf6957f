#include "recorder/camera/volume.h"

#include "platform/utility.h"
#include "recorder/camera/identityfile.h"
#include "recorder/support/error.h"
#include "recorder/support/presence.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/support/uuid.h"

#include <fcntl.h>
#include <sys/stat.h>

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

struct statx StatusOf(const std::string& path) {
    struct statx status = {};
    if (Uninterrupted([&] { return statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &status); }) !=
        0) {
        throw SystemError("examine " + path);
    }
    return status;
}

// Compares mounts instead of file systems: a subvolume has its own device number although it
// appears and disappears with the mount that contains it, and two folders of one file system can be
// two mounts. Kernels before Linux 5.8 don't report the mount, so there the file systems are
// compared. Follows links. Throws Error when either path can't be examined.
bool AreOnOneMount(const std::string& a, const std::string& b) {
    const struct statx ofA = StatusOf(a);
    const struct statx ofB = StatusOf(b);
    if ((ofA.stx_mask & ofB.stx_mask & STATX_MNT_ID) != 0) {
        return ofA.stx_mnt_id == ofB.stx_mnt_id;
    }
    return ofA.stx_dev_major == ofB.stx_dev_major && ofA.stx_dev_minor == ofB.stx_dev_minor;
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
