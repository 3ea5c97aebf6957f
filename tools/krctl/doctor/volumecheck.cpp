#include "recorder/camera/volumelist.h"
#include "tools/krctl/doctor/checks.h"

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
            (commands.empty() ? "" : "; ") + ("krctl camera bind --id " + std::to_string(id));
    }
    return commands;
}

Check CheckUnbound(const VolumeEntry& volume) {
    const std::string message =
        CamerasOf(volume) + ": bound to no volume, " +
        (volume.hasOwnIdentity ? "so only the identity in their own folders protects their rows"
                               : "so a disk that isn't mounted costs their rows");
    const std::string bind = BindCommands(volume);
    return Warning(kSubject, message,
                   volume.root ? bind : "krctl volume init with the disk's root folder; " + bind);
}

Check CheckVolume(const VolumeEntry& volume) {
    const std::string id = volume.id.value_or("");
    switch (volume.state) {
    case VolumeState::Mounted:
        return Ok(kSubject, id + " is in " + volume.root.value_or(""));
    case VolumeState::OtherMount:
        return Warning(kSubject, id + " of " + CamerasOf(volume) + ": " + volume.remark,
                       "krctl volume init with the root folder of what is mounted there, then " +
                           BindCommands(volume));
    case VolumeState::Missing:
        return Problem(kSubject,
                       id + " of " + CamerasOf(volume) + " is not mounted there" +
                           (volume.remark.empty() ? "" : ": " + volume.remark),
                       "mount it; where it is mounted elsewhere now, krctl camera adopt DIR");
    case VolumeState::Foreign:
        return Problem(kSubject,
                       "another one is in the place of " + id + " of " + CamerasOf(volume) + ": " +
                           volume.remark,
                       "mount the right one, or krctl camera bind where the new one replaces it");
    case VolumeState::Unreadable:
        return Problem(kSubject, "that of " + CamerasOf(volume) + ": " + volume.remark,
                       "let its user read it: no run works on these cameras before");
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
