#include "tools/krctl/commands.h"

#include "recorder/camera/newvolume.h"
#include "recorder/camera/volume.h"
#include "recorder/camera/volumelist.h"
#include "recorder/support/error.h"
#include "tools/common/json.h"
#include "tools/common/table.h"
#include "tools/common/terminal.h"
#include "tools/common/user.h"

#include <cstdio>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <unistd.h>

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
    const std::vector<recorder::VolumeEntry> volumes = recorder::ListVolumes();
    if (volumes.empty()) {
        std::fputs(
            "krctl: no camera is bound yet: krctl camera add binds a camera to the volume of "
            "its storage folder\n",
            stderr);
        return;
    }
    for (const recorder::VolumeEntry& volume : volumes) {
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

// Only root may write to the root folder of many disks.
std::string InitVolume(const std::string& folder) {
    try {
        return recorder::InitVolume(folder);
    } catch (const recorder::Error& error) {
        const bool mayWrite = faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
        if (mayWrite || errno != EACCES || IsRoot(geteuid())) {
            throw;
        }
        throw recorder::Error(std::string(error.what()) + "; " + UserName(geteuid()) +
                              " may not write there: as root, run krctl volume init " +
                              ShellQuoted(folder));
    }
}

void Init(const std::string& folder, bool isForced) {
    if (!isForced) {
        recorder::RequireMountPoint(folder);
    }
    const std::string id = InitVolume(folder);
    std::puts(id.c_str());
    for (const std::string& warning : recorder::WarningsAboutVolume(folder)) {
        std::fprintf(stderr, "krctl: warning: %s: %s\n", Printable(folder).c_str(),
                     Printable(warning).c_str());
    }
}

void AddVolumeInitCommand(CLI::App& command) {
    const auto folder = std::make_shared<std::string>();
    const auto isForced = std::make_shared<bool>(false);
    CLI::App* const init = command.add_subcommand("init", "give a disk an identity, and print it");
    init->add_option("DIR", *folder, "the disk's root folder, an absolute path")->required();
    init->add_flag("--force", *isForced, "accept a folder that is not a mount point");
    init->callback([folder, isForced] { Init(*folder, *isForced); });
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
    AddVolumeInitCommand(*command);
    AddListCommand(*command);
}
