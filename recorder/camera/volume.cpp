#include "recorder/camera/volume.h"

#include "platform/utility.h"
#include "recorder/support/error.h"
#include "recorder/support/textfile.h"

#include <optional>

namespace recorder {

namespace {

constexpr const char* kIdentityFileName = "/.kestora-volume";

std::string WithoutNewline(std::string text) {
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

// Nothing when no folder on the way up to the root is a volume's.
std::optional<std::string> NearestIdentity(std::string folder) {
    while (!folder.empty() && folder != "/") {
        if (std::optional<std::string> id = ReadTextFileIfThere(folder + kIdentityFileName)) {
            return WithoutNewline(*id);
        }
        folder = GetDirPath(folder);
    }
    return std::nullopt;
}

} // namespace

void DemandVolume(const std::string& folder, const std::string& volumeId) {
    const std::optional<std::string> found = NearestIdentity(folder);
    if (found != volumeId) {
        throw Error("the volume " + volumeId + " is not mounted at " + folder + ": there is " +
                    (found ? "the volume " + *found : std::string("none with an identity")));
    }
}

} // namespace recorder
