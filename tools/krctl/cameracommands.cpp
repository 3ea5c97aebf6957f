#include "tools/krctl/commands.h"

#include "recorder/camera/cameratable.h"
#include "recorder/camera/newcamera.h"
#include "tools/common/json.h"
#include "tools/common/terminal.h"
#include "tools/krctl/binding.h"
#include "tools/krctl/help.h"

#include <climits>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace {

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
    for (const recorder::CameraRow& camera : recorder::ListCameras()) {
        std::printf("%d\t%s\t%s\t%s\t%s\n", camera.id, Printable(camera.name).c_str(),
                    Printable(camera.storagePath).c_str(),
                    Printable(camera.volumeId.value_or("-")).c_str(),
                    Printable(camera.uuid.value_or("-")).c_str());
    }
}

Json JsonOrNull(const std::optional<std::string>& text) {
    return text ? JsonText(*text) : Json(nullptr);
}

void PrintCamerasAsJson() {
    Json cameras = Json::array();
    for (const recorder::CameraRow& camera : recorder::ListCameras()) {
        cameras.push_back({{"id", camera.id},
                           {"name", JsonText(camera.name)},
                           {"storage", JsonText(camera.storagePath)},
                           {"volume", JsonOrNull(camera.volumeId)},
                           {"uuid", JsonOrNull(camera.uuid)}});
    }
    PrintJson({{"cameras", cameras}});
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
