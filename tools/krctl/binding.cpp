#include "tools/krctl/binding.h"

#include "tools/common/terminal.h"

#include <cstdio>
#include <string>

namespace {

void PrintVolume(const recorder::CameraRow& camera, const recorder::Volume& volume,
                 const std::optional<std::string>& before) {
    const bool moved = before && *before != volume.id;
    std::printf("camera %d is bound to volume %s in %s%s%s\n", camera.id, volume.id.c_str(),
                Printable(volume.root).c_str(), moved ? ", previously to " : "",
                moved ? before->c_str() : "");
    if (!volume.sharesMount) {
        // The identity exists even if the camera's disk is not mounted.
        std::fprintf(
            stderr,
            "krctl: %s is on another mount than %s: if it is on a separate disk, give that "
            "disk an identity (krctl volume init) and bind the camera again (krctl camera "
            "bind --id %d)\n",
            Printable(camera.storagePath).c_str(), Printable(volume.root).c_str(), camera.id);
    }
}

void PrintNoVolume(const recorder::CameraRow& camera) {
    std::fprintf(
        stderr,
        "krctl: camera %d is not bound to a volume: no folder above %s has an identity. Only the "
        "camera's identity in that folder protects its rows. Remedy: krctl volume init with the "
        "root folder of the disk, then krctl camera bind --id %d\n",
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
