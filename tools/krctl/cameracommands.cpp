#include "tools/krctl/commands.h"

#include "recorder/camera/adoption.h"
#include "recorder/camera/cameratable.h"
#include "recorder/camera/newcamera.h"
#include "recorder/support/error.h"
#include "tools/common/exitstatus.h"
#include "tools/common/json.h"
#include "tools/common/table.h"
#include "tools/common/terminal.h"
#include "tools/krctl/help.h"

#include <climits>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace {

using recorder::Adoption;
using recorder::AdoptionOutcome;
using recorder::AdoptionReport;

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

// Prints which volume the camera is bound to, or warns on standard error if that doesn't protect
// the camera's rows.
void PrintBinding(const recorder::BoundCamera& bound) {
    if (bound.volume) {
        PrintVolume(bound.camera, *bound.volume, bound.volumeBefore);
    } else {
        PrintNoVolume(bound.camera);
    }
}

std::string OutcomeText(const Adoption& adoption) {
    switch (adoption.outcome) {
    case AdoptionOutcome::Added:
        return "adopted";
    case AdoptionOutcome::TakenOver:
        return "adopted, its row had no identity";
    case AdoptionOutcome::Moved:
        return "adopted, previously in " + adoption.remark;
    case AdoptionOutcome::Known:
        return "already known";
    case AdoptionOutcome::Refused:
        break;
    }
    return "not adopted: " + adoption.remark;
}

void PrintAdoption(const Adoption& adoption) {
    const recorder::FoundCamera& camera = adoption.camera;
    const std::string line =
        Printable(NameOf(camera.identity) + " in " + camera.folder + ": " + OutcomeText(adoption));
    if (adoption.outcome == AdoptionOutcome::Refused) {
        std::fprintf(stderr, "krctl: %s\n", line.c_str());
        return;
    }
    std::puts(line.c_str());
    if (adoption.outcome != AdoptionOutcome::Known) {
        recorder::CameraRow row;
        row.id = camera.identity.id;
        row.storagePath = camera.folder;
        PrintBinding({row, adoption.volume, std::nullopt});
    }
}

// Returns true if every camera that was found has a row now.
bool PrintAdoptions(const AdoptionReport& report) {
    bool isWhole = report.search.obstacles.empty();
    for (const Adoption& adoption : report.adoptions) {
        PrintAdoption(adoption);
        isWhole = isWhole && adoption.outcome != AdoptionOutcome::Refused;
    }
    for (const std::string& folder : report.search.otherFileSystems) {
        std::printf("%s is on another file system and was not searched\n",
                    Printable(folder).c_str());
    }
    for (const std::string& obstacle : report.search.obstacles) {
        std::fprintf(stderr, "krctl: %s\n", Printable(obstacle).c_str());
    }
    return isWhole;
}

void Adopt(const std::string& folder) {
    const AdoptionReport report = recorder::AdoptCamerasIn(folder);
    if (!PrintAdoptions(report)) {
        throw CLI::RuntimeError(kExitFailed);
    }
    if (report.adoptions.empty()) {
        throw recorder::Error(folder +
                              ": expected a folder with storage folders that have an identity");
    }
}

void AddAdoptCommand(CLI::App& camera) {
    const auto folder = std::make_shared<std::string>();
    CLI::App* const adopt =
        camera.add_subcommand("adopt", "add the cameras whose storage folders are on a disk");
    adopt
        ->add_option("DIR", *folder, "the disk's root folder or a storage folder, an absolute path")
        ->required();
    adopt->callback([folder] { Adopt(*folder); });
}

void PrintRemoval(const recorder::CameraRow& camera, bool isLast) {
    std::printf("camera %d \"%s\" was removed; its files stay in %s\n", camera.id,
                Printable(camera.name).c_str(), Printable(camera.storagePath).c_str());
    if (isLast) {
        std::puts("it was the last camera: without cameras, a run removes no rows of recordings");
    } else {
        std::puts("the next run with -r removes the rows of its recordings, which krctl undo can "
                  "restore; the rows of its alert recordings stay");
    }
    std::printf("to add it again: krctl camera adopt %s\n", Printable(camera.storagePath).c_str());
}

void RemoveCamera(int id) {
    const recorder::CameraRow camera = recorder::ForgetCamera(id);
    PrintRemoval(camera, recorder::ListCameras().empty());
}

void PrintCameras() {
    Table table({{"id", true},
                 {"name"},
                 {"storage folder", false, 1},
                 {"volume", false, 2},
                 {"identity", false, 3}});
    for (const recorder::CameraRow& camera : recorder::ListCameras()) {
        table.AddRow({std::to_string(camera.id), camera.name, camera.storagePath,
                      camera.volumeId.value_or("-"), camera.uuid.value_or("-")});
    }
    PrintTableOrTabs(table);
}

void PrintCamerasAsJson() {
    Json cameras = Json::array();
    for (const recorder::CameraRow& camera : recorder::ListCameras()) {
        cameras.push_back({{"id", camera.id},
                           {"name", JsonText(camera.name)},
                           {"storage", JsonText(camera.storagePath)},
                           {"volume", JsonTextOrNull(camera.volumeId)},
                           {"uuid", JsonTextOrNull(camera.uuid)}});
    }
    PrintJson("cameras", {{"cameras", cameras}});
}

void AddIdOption(CLI::App& command, int& id) {
    command.add_option("--id", id, "the camera's id, 1 to 2147483647")
        ->type_name("ID")
        ->required()
        ->check(PositiveInteger(INT_MAX));
}

void AddListCommand(CLI::App& command) {
    const auto asJson = std::make_shared<bool>(false);
    CLI::App* const list =
        command.add_subcommand("list", "list cameras: id, name, storage folder, volume, identity");
    list->add_flag("--json", *asJson, "print JSON");
    list->callback([asJson] { *asJson ? PrintCamerasAsJson() : PrintCameras(); });
}

} // namespace

void AddCameraCommands(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("camera", "manage the recorder's cameras");
    command->require_subcommand(1);
    const auto camera = std::make_shared<recorder::CameraRow>();

    CLI::App* const add = command->add_subcommand("add", "add a camera");
    AddIdOption(*add, camera->id);
    add->add_option("--name", camera->name, "the camera's name")->type_name("NAME")->required();
    add->add_option("--storage", camera->storagePath,
                    "the folder that holds its half-day folders, an absolute path")
        ->type_name("DIR")
        ->required();
    add->callback([camera] {
        PrintBinding(recorder::AddNewCamera(camera->id, camera->name, camera->storagePath));
    });

    CLI::App* const bind = command->add_subcommand(
        "bind", "bind a camera to the volume that holds its storage folder");
    AddIdOption(*bind, camera->id);
    bind->callback([camera] { PrintBinding(recorder::BindCamera(camera->id)); });

    AddListCommand(*command);

    CLI::App* const remove = command->add_subcommand("remove", "remove a camera; its files stay");
    AddIdOption(*remove, camera->id);
    remove->callback([camera] { RemoveCamera(camera->id); });

    AddAdoptCommand(*command);
}
