#include "tools/krctl/commands.h"

#include "recorder/camera/volume.h"
#include "recorder/camera/volumelist.h"
#include "tools/common/terminal.h"

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
    for (const recorder::VolumeEntry& volume : recorder::ListVolumes()) {
        std::printf("%s\t%s\t%s\t%s%s%s\n", Printable(volume.id.value_or("-")).c_str(),
                    Printable(volume.root.value_or("-")).c_str(), Joined(volume.cameraIds).c_str(),
                    NameOf(volume.state), volume.remark.empty() ? "" : "\t",
                    Printable(volume.remark).c_str());
    }
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

    command->add_subcommand("list", "list volumes: id, root folder, cameras, state, reason")
        ->callback(PrintVolumes);
}
