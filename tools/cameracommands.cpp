#include "tools/cameracommands.h"

#include "recorder/camera/cameratable.h"
#include "recorder/camera/volume.h"
#include "recorder/support/error.h"
#include "recorder/utility/presence.h"

#include <climits>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include <sys/stat.h>

namespace {

// A path that a run works with must not depend on where the command was typed.
void CheckStorageFolder(const std::string& path) {
    if (!path.starts_with('/')) {
        throw recorder::Error("--storage " + path + ": expected an absolute path");
    }
    if (recorder::FolderPresence(path) != recorder::Presence::Yes) {
        throw recorder::Error("--storage " + path + ": expected a folder that exists");
    }
}

bool AreOnOneFileSystem(const std::string& a, const std::string& b) {
    struct stat64 ofA = {};
    struct stat64 ofB = {};
    return stat64(a.c_str(), &ofA) == 0 && stat64(b.c_str(), &ofB) == 0 && ofA.st_dev == ofB.st_dev;
}

void TellBinding(const recorder::CameraRow& camera, const recorder::Volume& volume,
                 const std::optional<std::string>& before) {
    const bool moved = before && *before != volume.id;
    std::printf("camera %d is bound to the volume %s in %s%s%s\n", camera.id, volume.id.c_str(),
                volume.root.c_str(), moved ? ", no longer to " : "", moved ? before->c_str() : "");
    if (!AreOnOneFileSystem(camera.storagePath, volume.root)) {
        // Such an identity is there whether the camera's disk is or not.
        std::fprintf(stderr,
                     "krctl: %s is on another file system than %s: if it is on a disk of its own, "
                     "give that an identity (krctl volume init) and bind the camera anew (krctl "
                     "camera bind --id %d)\n",
                     camera.storagePath.c_str(), volume.root.c_str(), camera.id);
    }
}

void TellThatNoVolumeIsThere(const recorder::CameraRow& camera) {
    std::fprintf(stderr,
                 "krctl: camera %d is bound to no volume, as none above %s has an identity: should "
                 "its disk not be mounted, a run takes its recordings for deleted. Remedy: krctl "
                 "volume init with the root folder of the disk, then krctl camera bind --id %d\n",
                 camera.id, camera.storagePath.c_str(), camera.id);
}

void RegisterCamera(recorder::CameraRow camera) {
    CheckStorageFolder(camera.storagePath);
    while (camera.storagePath.size() > 1 && camera.storagePath.ends_with('/')) {
        camera.storagePath.pop_back();
    }
    const std::optional<recorder::Volume> volume = recorder::VolumeOf(camera.storagePath);
    if (volume) {
        camera.volumeId = volume->id;
    }
    recorder::AddCamera(camera);
    if (volume) {
        TellBinding(camera, *volume, std::nullopt);
    } else {
        TellThatNoVolumeIsThere(camera);
    }
}

void BindCameraToItsVolume(int id) {
    const std::optional<recorder::CameraRow> camera = recorder::FindCamera(id);
    if (!camera) {
        throw recorder::Error("there is no camera with the id " + std::to_string(id));
    }
    // Without the folder, its disk isn't mounted: what is found above is not the camera's volume.
    if (recorder::FolderPresence(camera->storagePath) != recorder::Presence::Yes) {
        throw recorder::Error("the storage folder " + camera->storagePath +
                              " is not there: is its disk mounted?");
    }
    const std::optional<recorder::Volume> volume = recorder::VolumeOf(camera->storagePath);
    if (!volume) {
        throw recorder::Error("no volume above " + camera->storagePath +
                              " has an identity: see krctl volume init");
    }
    recorder::BindCamera(id, volume->id);
    TellBinding(*camera, *volume, camera->volumeId);
}

void PrintCameras() {
    for (const recorder::CameraRow& camera : recorder::ListCameras()) {
        std::printf("%d\t%s\t%s\t%s\n", camera.id, camera.name.c_str(), camera.storagePath.c_str(),
                    camera.volumeId.value_or("-").c_str());
    }
}

void AddIdOption(CLI::App& command, int& id) {
    command.add_option("--id", id, "its number, 1 to 2147483647")
        ->required()
        ->check(CLI::Range(1, INT_MAX));
}

} // namespace

void AddCameraCommands(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("camera", "the recorder's cameras");
    command->require_subcommand(1);
    const auto camera = std::make_shared<recorder::CameraRow>();

    CLI::App* const add = command->add_subcommand("add", "make a camera known to the recorder");
    AddIdOption(*add, camera->id);
    add->add_option("--name", camera->name, "its name, for people")->required();
    add->add_option("--storage", camera->storagePath,
                    "the folder that holds its half-day folders, an absolute path")
        ->required();
    add->callback([camera] { RegisterCamera(*camera); });

    CLI::App* const bind = command->add_subcommand(
        "bind", "bind a camera to the volume that its storage folder lies on now");
    AddIdOption(*bind, camera->id);
    bind->callback([camera] { BindCameraToItsVolume(camera->id); });

    command->add_subcommand("list", "one camera a line: id, name, storage folder, volume")
        ->callback(PrintCameras);
}
