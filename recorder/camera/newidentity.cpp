// Writing the identities of cameras and volumes, which only a recorder that may write does.

#include "recorder/camera/cameraidentity.h"
#include "recorder/camera/volume.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/format.h"
#include "recorder/support/presence.h"
#include "recorder/support/uniquefd.h"
#include "recorder/support/uuid.h"
#include "recorder/support/wholefile.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

// Readable by the same users as the recordings: a camera's name shows where people are recorded.
constexpr mode_t kCameraMode = 0640;
// Readable by all users: the id is no secret, and any program may need to identify the disk.
constexpr mode_t kVolumeMode = 0644;

UniqueFd Open(const std::string& folder) {
    UniqueFd open = OpenFolderByPath(folder);
    if (!open.IsOpen()) {
        throw SystemError("open the folder " + folder);
    }
    return open;
}

std::span<const uint8_t> BytesOf(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

[[noreturn]] void ThrowNotWritten(const std::string& folder, const Error& error) {
    throw Error("can't give " + folder + " an identity: " + error.what());
}

// A file that is no volume identity makes VolumeOf throw.
void RefuseSecondIdentity(const UniqueFd& folder, const std::string& path) {
    struct stat64 st = {};
    if (fstatat64(folder.Get(), kIdentityFileName, &st, AT_SYMLINK_NOFOLLOW) != 0) {
        return; // if the file exists but can't be examined, writing it fails and gives the reason
    }
    if (const std::optional<Volume> volume = VolumeOf(path)) {
        throw Error(path + " already has an identity: " + volume->id);
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
    const UniqueFd open = Open(folder);
    try {
        // The folder's owner is the recorder's user, who must be able to read the file.
        WriteNewFile(open.Get(), kCameraIdentityFileName, BytesOf(text), kCameraMode,
                     FileOwner::OfFolder);
    } catch (const Error& error) {
        ThrowNotWritten(folder, error);
    }
}

std::string InitVolume(const std::string& folder) {
    RequireFolder(folder);
    const UniqueFd open = Open(folder);
    RefuseSecondIdentity(open, folder);
    std::string id = NewUuid();
    try {
        WriteNewFile(open.Get(), kIdentityFileName, BytesOf(id + "\n"), kVolumeMode);
    } catch (const Error& error) {
        RefuseSecondIdentity(open, folder); // another process may have just written one
        ThrowNotWritten(folder, error);
    }
    return id;
}

} // namespace recorder
