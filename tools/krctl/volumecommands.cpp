#include "tools/krctl/commands.h"

#include "recorder/camera/volume.h"
#include "recorder/camera/volumelist.h"
#include "tools/common/json.h"
#include "tools/common/table.h"

#include <cstdio>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

namespace {

using recorder::VolumeState;

const char* NameOf(VolumeState state) {
    switch (state) {
    case VolumeState::Mounted:
        return "mounted";
    case VolumeState::OtherMount:
        return "other-mount";
    case VolumeState::Missing:
        return "missing";
    case VolumeState::Foreign:
        return "foreign";
    case VolumeState::Unreadable:
        return "unreadable";
    case VolumeState::Unbound:
        return "unbound";
    }
    return "unknown";
}

std::string Joined(const std::vector<int>& ids) {
    std::string text;
    for (const int id : ids) {
        text += (text.empty() ? "" : ",") + std::to_string(id);
    }
    return text.empty() ? "-" : text;
}

void PrintVolumes() {
    Table table({{"volume", false, 3},
                 {"root folder", false, 1},
                 {"cameras"},
                 {"state"},
                 {"reason", false, 2}});
    for (const recorder::VolumeEntry& volume : recorder::ListVolumes()) {
        table.AddRow({volume.id.value_or("-"), volume.root.value_or("-"), Joined(volume.cameraIds),
                      NameOf(volume.state), volume.remark.empty() ? "-" : volume.remark});
    }
    PrintTableOrTabs(table);
}

void PrintVolumesAsJson() {
    Json volumes = Json::array();
    for (const recorder::VolumeEntry& volume : recorder::ListVolumes()) {
        volumes.push_back({{"id", JsonTextOrNull(volume.id)},
                           {"root", JsonTextOrNull(volume.root)},
                           {"cameras", volume.cameraIds},
                           {"state", NameOf(volume.state)},
                           {"reason", volume.remark.empty() ? Json() : JsonText(volume.remark)}});
    }
    PrintJson("volumes", {{"volumes", volumes}});
}

void AddListCommand(CLI::App& command) {
    const auto asJson = std::make_shared<bool>(false);
    CLI::App* const list =
        command.add_subcommand("list", "list volumes: id, root folder, cameras, state, reason");
    list->add_flag("--json", *asJson, "print JSON");
    list->callback([asJson] { *asJson ? PrintVolumesAsJson() : PrintVolumes(); });
}

} // namespace

void AddVolumeCommands(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("volume", "manage the volumes that cameras record to");
    command->require_subcommand(1);
    const auto folder = std::make_shared<std::string>();

    CLI::App* const init = command->add_subcommand("init", "give a disk an identity, and print it");
    init->add_option("DIR", *folder, "the disk's root folder, an absolute path")->required();
    init->callback([folder] { std::puts(recorder::InitVolume(*folder).c_str()); });

    AddListCommand(*command);
}
