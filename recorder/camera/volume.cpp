#include "recorder/camera/volume.h"

#include "platform/utility.h"
#include "recorder/support/error.h"
#include "recorder/support/textfile.h"
#include "recorder/support/uuid.h"

#include <filesystem>
#include <system_error>

namespace recorder {

namespace {

constexpr std::size_t kMaxIdentityBytes = 64; // a UUID and a newline, and to spare

// The folder as the disks know it: behind a link the volume is that of its target. What can't be
// resolved is left as it is; whoever walks it meets the same obstacle.
std::string Resolved(const std::string& folder) {
    if (!folder.starts_with('/')) {
        throw Error("can't tell the volume of \"" + folder + "\": expected an absolute path");
    }
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::weakly_canonical(folder, error);
    return error ? folder : resolved.string();
}

// Nothing when there is no identity file. A link in its place could vouch for a disk from another.
std::optional<std::string> ReadIdentity(const std::string& path) {
    const UniqueFd file = OpenTextFileIfThere(path, Links::Refuse);
    if (!file.IsOpen()) {
        return std::nullopt;
    }
    std::string id = ReadText(file, path, kMaxIdentityBytes);
    while (id.ends_with('\n')) {
        id.pop_back();
    }
    if (!IsUuid(id)) {
        throw Error("the file " + path + " holds no volume id");
    }
    return id;
}

} // namespace

std::optional<Volume> VolumeOf(const std::string& folder) {
    for (std::string root = Resolved(folder);; root = GetDirPath(root)) {
        const std::string inRoot = root.ends_with('/') ? root : root + "/";
        if (std::optional<std::string> id = ReadIdentity(inRoot + kIdentityFileName)) {
            return Volume{std::move(*id), root};
        }
        if (root == "/") {
            return std::nullopt;
        }
    }
}

void DemandVolume(const std::string& folder, const std::string& volumeId) {
    const std::optional<Volume> found = VolumeOf(folder);
    if (!found || found->id != volumeId) {
        throw Error("the volume " + volumeId + " is not mounted at " + folder + ": there is " +
                    (found ? "the volume " + found->id : std::string("none with an identity")));
    }
}

} // namespace recorder
