#include "recorder/camera/newvolume.h"

#include "platform/utility.h"
#include "recorder/camera/cameraidentity.h"
#include "recorder/camera/volume.h"
#include "recorder/support/error.h"
#include "recorder/support/folder.h"
#include "recorder/support/medianames.h"
#include "recorder/support/mount.h"
#include "recorder/support/presence.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace recorder {

namespace {

constexpr int kLevelsBelow = 3;

std::string MountPointAbove(const std::string& folder) {
    std::string above = ResolvedPath(folder);
    while (above != "/" && MountPointPresence(above) == Presence::No) {
        above = GetDirPath(above);
    }
    return above;
}

// Searches the folders below one for identities.
class SearchBelow {
public:
    explicit SearchBelow(std::vector<std::string>& warnings) : m_warnings(warnings) {}

    void In(const std::string& folder, int levels) {
        for (const std::string& name : FoldersIn(folder)) {
            const std::string path = (folder == "/" ? "" : folder) + "/" + name;
            WarnIfVolume(path);
            if (levels > 1 && AreOnOneMount(folder, path)) {
                In(path, levels - 1);
            }
        }
    }

private:
    static std::vector<std::string> FoldersIn(const std::string& folder) {
        std::vector<std::string> names;
        ListFolder(folder, [&](const FolderEntry& entry) {
            if (entry.isFolder && !entry.name.starts_with('.') && !IsHalfDayName(entry.name)) {
                names.push_back(entry.name);
            }
            return true;
        });
        return names;
    }

    void WarnIfVolume(const std::string& path) {
        struct stat64 st = {};
        const std::string identity = path + "/" + kIdentityFileName;
        if (lstat64(identity.c_str(), &st) == 0) {
            m_warnings.push_back(path + " below it has an identity too: cameras below that folder "
                                        "belong to that volume");
        }
    }

    std::vector<std::string>& m_warnings;
};

void WarnAboutVolumeAbove(const std::string& folder, std::vector<std::string>& warnings) {
    if (folder == "/") {
        return;
    }
    if (const std::optional<Volume> above = VolumeOf(GetDirPath(folder))) {
        warnings.push_back(above->root + " above it has an identity too, " + above->id +
                           ": runs skip cameras below " + folder +
                           " that are bound to that volume, until krctl camera bind");
    }
}

void WarnAboutCameraAbove(const std::string& folder, std::vector<std::string>& warnings) {
    for (std::string above = folder; above != "/";) {
        above = GetDirPath(above);
        if (const std::optional<CameraIdentity> camera = CameraIdentityIn(above)) {
            warnings.push_back("it is inside " + above + ", the storage folder of " +
                               NameOf(*camera) + ": the volume covers only a part of it");
        }
    }
}

template <typename Search>
void Noting(std::vector<std::string>& warnings, const char* place, const Search& search) {
    try {
        search();
    } catch (const Error& error) {
        warnings.push_back(std::string("could not determine whether an identity is ") + place +
                           " it: " + error.what());
    }
}

} // namespace

void RequireMountPoint(const std::string& folder) {
    RequireFolder(folder);
    switch (MountPointPresence(folder)) {
    case Presence::Yes:
        return;
    case Presence::No:
        break;
    case Presence::Unknown:
        throw Error(folder + ": this kernel does not report whether a disk is mounted there; if "
                             "one is, use --force");
    }
    throw Error(folder + " is not a mount point, but a folder on the disk mounted at " +
                MountPointAbove(folder) +
                ": mount the disk, or give the root folder of a mounted one; --force accepts this "
                "folder");
}

std::vector<std::string> WarningsAboutVolume(const std::string& folder) {
    std::vector<std::string> warnings;
    Noting(warnings, "above", [&] {
        const std::string resolved = ResolvedPath(folder);
        WarnAboutVolumeAbove(resolved, warnings);
        WarnAboutCameraAbove(resolved, warnings);
    });
    Noting(warnings, "below",
           [&] { SearchBelow(warnings).In(ResolvedPath(folder), kLevelsBelow); });
    return warnings;
}

} // namespace recorder
