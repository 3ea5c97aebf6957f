#include "tools/krctl/commandline.h"

#include "recorder/database/schema.h"
#include "tools/krctl/commands.h"
#include "tools/krctl/help.h"

#include <algorithm>
#include <array>
#include <memory>

namespace {

// The commands that work without databases. Any other command needs them.
bool WorksWithoutDatabases(const std::string& command) {
    constexpr std::array kCommands{"init", "restore", "volume init", "doctor", "help", "version"};
    return std::find(kCommands.begin(), kCommands.end(), command) != kCommands.end();
}

// The commands that read databases and don't change them.
bool OnlyReads(const std::string& command) {
    constexpr std::array kCommands{"camera list", "volume list", "plan",   "findings", "gaps",
                                   "status",      "runs",        "report", "metrics",  "doctor"};
    return std::find(kCommands.begin(), kCommands.end(), command) != kCommands.end();
}

} // namespace

void AddCommands(CLI::App& app) {
    app.name("krctl");
    app.description("set up and operate a Kestora recorder");
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_help_flag("-h,--help", "show this help");
    app.require_subcommand(1);
    app.set_version_flag("-V,--version", VersionText(), "show the version");
    AddInitCommand(app);
    AddCameraCommands(app);
    AddVolumeCommands(app);
    AddPlanCommand(app);
    AddRunCommand(app);
    AddCheckCommand(app);
    AddFindingsCommand(app);
    AddGapsCommand(app);
    AddStatusCommand(app);
    AddRunsCommand(app);
    AddUndoCommand(app);
    AddBackupCommands(app);
    AddReportCommand(app);
    AddMetricsCommand(app);
    AddDoctorCommand(app);
    AddHelpCommands(app);
    app.footer("\"krctl help COMMAND\" describes a command."); // the commands would inherit it
    // Runs before the command.
    app.parse_complete_callback([&app] {
        const std::string command = ParsedCommand(app);
        if (OnlyReads(command)) {
            recorder::OpenDatabasesReadOnly();
        }
        if (!WorksWithoutDatabases(command)) {
            recorder::RequireDatabases();
        }
    });
}

std::string ParsedCommand(const CLI::App& app) {
    std::string words;
    for (const CLI::App* each = &app; !each->get_subcommands().empty();) {
        each = each->get_subcommands().front();
        words += (words.empty() ? "" : " ") + each->get_name();
    }
    return words;
}
