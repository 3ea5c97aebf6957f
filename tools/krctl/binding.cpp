#include "tools/krctl/binding.h"

#include "tools/common/terminal.h"

#include <cstdio>
#include <string>

namespace {

void PrintVolume(const recorder::CameraRow& camera, const recorder::Volume& volume,
                 const std::optional<std::string>& before) {
    const bool moved = before && *before != volume.id;
    std::printf("camera %d is bound to the volume %s in %s%s%s\n", camera.id, volume.id.c_str(),
                Printable(volume.root).c_str(), moved ? ", no longer to " : "",
                moved ? before->c_str() : "");
    if (!volume.sharesMount) {
        // Such an identity is there whether the camera's disk is or not.
        std::fprintf(stderr,
                     "krctl: %s is on another mount than %s: if it is on a disk of its own, "
                     "give that an identity (krctl volume init) and bind the camera anew (krctl "
                     "camera bind --id %d)\n",
                     Printable(camera.storagePath).c_str(), Printable(volume.root).c_str(),
                     camera.id);
    }
}

void PrintNoVolume(const recorder::CameraRow& camera) {
    std::fprintf(
        stderr,
        "krctl: camera %d is bound to no volume, as none above %s has an identity: only the "
        "camera's own identity in that folder protects its rows. Remedy: krctl volume init "
        "with the root folder of the disk, then krctl camera bind --id %d\n",
        camera.id, Printable(camera.storagePath).c_str(), camera.id);
}

} // namespace

void PrintBinding(const recorder::BoundCamera& bound) {
    if (bound.volume) {
        PrintVolume(bound.camera, *bound.volume, bound.volumeBefore);
    } else {
        PrintNoVolume(bound.camera);
    }
}
