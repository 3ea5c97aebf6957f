#include "recorder/camera/volumelist.h"
#include "tools/krctl/doctor/check.h"

#include <string>

namespace {

using recorder::VolumeEntry;
using recorder::VolumeState;

constexpr const char* kSubject = "volume";

std::string CamerasOf(const VolumeEntry& volume) {
    std::string text;
    for (const int id : volume.cameraIds) {
        text += (text.empty() ? "" : ", ") + std::to_string(id);
    }
    return (volume.cameraIds.size() == 1 ? "camera " : "cameras ") + text;
}

std::string BindCommands(const VolumeEntry& volume) {
    std::string commands;
    for (const int id : volume.cameraIds) {
        commands +=
            (commands.empty() ? "" : " and ") + ("krctl camera bind --id " + std::to_string(id));
    }
    return commands;
}

Check CheckUnbound(const VolumeEntry& volume) {
    const std::string message =
        CamerasOf(volume) + ": not bound to a volume: " +
        (volume.hasOwnIdentity ? "only the identity in the storage folder protects the rows"
                               : "if the disk is not mounted, a run will remove the rows");
    const std::string bind = BindCommands(volume);
    return Warning(kSubject, message,
                   volume.root
                       ? "run " + bind
                       : "run krctl volume init DIR (DIR: the disk's root folder), then " + bind);
}

Check CheckVolume(const VolumeEntry& volume) {
    const std::string id = volume.id.value_or("");
    switch (volume.state) {
    case VolumeState::Mounted:
        return Ok(kSubject, id + " found at " + volume.root.value_or(""));
    case VolumeState::OtherMount:
        return Warning(
            kSubject, id + " of " + CamerasOf(volume) + ": " + volume.remark,
            "run krctl volume init DIR (DIR: the root folder of the disk mounted there), then " +
                BindCommands(volume));
    case VolumeState::Missing:
        return Problem(kSubject,
                       "no proof that " + id + " of " + CamerasOf(volume) + " is mounted" +
                           (volume.remark.empty() ? "" : ": " + volume.remark),
                       "mount it; if it is now mounted at another path, run krctl camera adopt DIR "
                       "with the storage folder there");
    case VolumeState::Foreign:
        return Problem(kSubject,
                       "another volume was found instead of " + id + " of " + CamerasOf(volume) +
                           ": " + volume.remark,
                       "mount the right volume; only if the other one replaces it, run " +
                           BindCommands(volume));
    case VolumeState::Unreadable:
        return Problem(kSubject,
                       "the volume of " + CamerasOf(volume) + " is unknown: " + volume.remark,
                       "correct the cause that the message names: until then runs don't process "
                       "these cameras");
    case VolumeState::Unbound:
        break;
    }
    return CheckUnbound(volume);
}

} // namespace

Checks CheckVolumes() {
    Checks checks;
    for (const VolumeEntry& volume : recorder::ListVolumes()) {
        checks.push_back(CheckVolume(volume));
    }
    return checks;
}
