#include "recorder/support/mount.h"

#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/uninterrupted.h"

#include <array>
#include <memory>

#include <fcntl.h>
#include <mntent.h>
#include <sys/stat.h>

namespace recorder {

namespace {

constexpr const char* kMountTable = "/etc/fstab";

struct statx StatusOf(const std::string& path) {
    struct statx status = {};
    if (Uninterrupted([&] { return statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &status); }) !=
        0) {
        throw SystemError("examine " + path);
    }
    return status;
}

bool IsAtOrBelow(const std::string& path, const std::string& folder) {
    return path == folder || path.starts_with(folder + "/");
}

bool IsMounted(const std::string& point) {
    return ExistingPart(point) == point && MountPointPresence(point) == Presence::Yes;
}

struct Closing {
    void operator()(FILE* table) const { endmntent(table); }
};

} // namespace

Presence MountPointPresence(const std::string& path) {
    const struct statx status = StatusOf(path);
    if ((status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) == 0) {
        return Presence::Unknown;
    }
    return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0 ? Presence::Yes : Presence::No;
}

bool AreOnOneMount(const std::string& a, const std::string& b) {
    const struct statx ofA = StatusOf(a);
    const struct statx ofB = StatusOf(b);
    if ((ofA.stx_mask & ofB.stx_mask & STATX_MNT_ID) != 0) {
        return ofA.stx_mnt_id == ofB.stx_mnt_id;
    }
    return ofA.stx_dev_major == ofB.stx_dev_major && ofA.stx_dev_minor == ofB.stx_dev_minor;
}

std::optional<std::string> UnmountedPointAbove(const std::string& path) {
    const std::unique_ptr<FILE, Closing> table(setmntent(kMountTable, "re"));
    if (!table) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throw SystemError(std::string("open ") + kMountTable);
    }
    const std::string resolved = ResolvedPath(path);
    constexpr std::size_t kMaxLine = 8192;
    std::array<char, kMaxLine> line{};
    struct mntent entry = {};
    while (getmntent_r(table.get(), &entry, line.data(), static_cast<int>(line.size())) !=
           nullptr) {
        const std::string point = WithoutTrailingSlashes(entry.mnt_dir);
        if (point.size() > 1 && point.starts_with('/') &&
            (IsAtOrBelow(path, point) || IsAtOrBelow(resolved, point)) && !IsMounted(point)) {
            return point;
        }
    }
    return std::nullopt;
}

} // namespace recorder
