// krctl: the operator's command.

#include "recorder/camera/cameratable.h"
#include "recorder/database/schema.h"
#include "recorder/support/error.h"
#include "recorder/utility/presence.h"
#include "tools/ledgercommands.h"

#include <climits>
#include <cstdio>
#include <exception>
#include <string>

#include <CLI/CLI.hpp>

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

void RegisterCamera(recorder::CameraRow camera) {
    CheckStorageFolder(camera.storagePath);
    while (camera.storagePath.size() > 1 && camera.storagePath.ends_with('/')) {
        camera.storagePath.pop_back();
    }
    recorder::AddCamera(camera);
}

void PrintCameras() {
    for (const recorder::CameraRow& camera : recorder::ListCameras()) {
        std::printf("%d\t%s\t%s\n", camera.id, camera.name.c_str(), camera.storagePath.c_str());
    }
}

void AddInitCommand(CLI::App& app) {
    app.add_subcommand("init", "create the recorder's databases, or what is missing of them")
        ->callback(recorder::InitDatabases);
}

void AddCameraCommands(CLI::App& app, recorder::CameraRow& camera) {
    CLI::App* const command = app.add_subcommand("camera", "the recorder's cameras");
    command->require_subcommand(1);

    CLI::App* const add = command->add_subcommand("add", "make a camera known to the recorder");
    add->add_option("--id", camera.id, "its number, 1 to 2147483647")
        ->required()
        ->check(CLI::Range(1, INT_MAX));
    add->add_option("--name", camera.name, "its name, for people")->required();
    add->add_option("--storage", camera.storagePath,
                    "the folder that holds its half-day folders, an absolute path")
        ->required();
    add->callback([&camera] { RegisterCamera(camera); });

    command->add_subcommand("list", "one camera a line: id, name, storage folder")
        ->callback(PrintCameras);
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Operates a Kestora recorder.", "krctl");
    app.require_subcommand(1);
    recorder::CameraRow camera;
    AddInitCommand(app);
    AddCameraCommands(app, camera);
    AddLedgerCommands(app);
    try {
        app.parse(argc, argv);
        return 0;
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "krctl: %s\n", error.what());
        return 1;
    }
}
