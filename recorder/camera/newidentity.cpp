#include "recorder/camera/cameraidentity.h"
#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"
#include "recorder/support/uniquefd.h"
#include "recorder/support/wholefile.h"
#include "recorder/utility/format.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

namespace {

// The name of a camera shows where people are recorded: not for everybody, as the recordings.
constexpr mode_t kIdentityMode = 0640;

// What root writes on the recorder's behalf is for the recorder's user to read. Where a file system
// knows no owners it stays as it is.
void LeaveToOwnerOf(int folder) {
    struct stat64 st = {};
    if (geteuid() != 0 || fstat64(folder, &st) != 0 ||
        fchownat(folder, kCameraIdentityFileName, st.st_uid, st.st_gid, AT_SYMLINK_NOFOLLOW) != 0) {
        return;
    }
}

} // namespace

void WriteCameraIdentity(const std::string& folder, const CameraIdentity& identity) {
    const std::string text = CameraIdentityText(identity);
    try {
        (void)ParseCameraIdentity(text, kCameraIdentityFileName);
    } catch (const Error&) {
        throw Error(Format("can't give %s an identity: expected a camera's name of at most %zu "
                           "bytes",
                           folder.c_str(), kMaxCameraNameBytes));
    }
    const UniqueFd open(
        Uninterrupted([&] { return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!open.IsOpen()) {
        throw SystemError("open the folder " + folder);
    }
    try {
        WriteNewFile(open.Get(), kCameraIdentityFileName,
                     {reinterpret_cast<const uint8_t*>(text.data()), text.size()}, kIdentityMode);
    } catch (const Error& error) {
        throw Error("can't give " + folder + " an identity: " + error.what());
    }
    LeaveToOwnerOf(open.Get());
}

} // namespace recorder
