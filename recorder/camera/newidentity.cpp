#include "recorder/camera/cameraidentity.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/format.h"
#include "recorder/support/uniquefd.h"
#include "recorder/support/wholefile.h"

#include <fcntl.h>

namespace recorder {

namespace {

// The name of a camera shows where people are recorded: not for everybody, as the recordings.
constexpr mode_t kIdentityMode = 0640;

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
    const UniqueFd open = OpenFolderByPath(folder);
    if (!open.IsOpen()) {
        throw SystemError("open the folder " + folder);
    }
    try {
        WriteNewFile(open.Get(), kCameraIdentityFileName,
                     {reinterpret_cast<const uint8_t*>(text.data()), text.size()}, kIdentityMode,
                     FileOwner::OfFolder); // for the recorder's user to read
    } catch (const Error& error) {
        throw Error("can't give " + folder + " an identity: " + error.what());
    }
}

} // namespace recorder
