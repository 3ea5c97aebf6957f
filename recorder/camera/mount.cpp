#include "recorder/camera/mount.h"

#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

struct statx StatusOf(const std::string& path) {
    struct statx status = {};
    if (Uninterrupted([&] { return statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &status); }) !=
        0) {
        throw SystemError("look at " + path);
    }
    return status;
}

bool HasMount(const struct statx& status) {
    return (status.stx_mask & STATX_MNT_ID) != 0;
}

} // namespace

bool AreOnOneMount(const std::string& a, const std::string& b) {
    const struct statx ofA = StatusOf(a);
    const struct statx ofB = StatusOf(b);
    if (HasMount(ofA) && HasMount(ofB)) {
        return ofA.stx_mnt_id == ofB.stx_mnt_id;
    }
    return ofA.stx_dev_major == ofB.stx_dev_major && ofA.stx_dev_minor == ofB.stx_dev_minor;
}

} // namespace recorder
