// The commands of krctl. Each function adds its commands to `app`.

#pragma once

namespace CLI {
class App;
}

void AddInitCommand(CLI::App& app);     // init
void AddBackupCommands(CLI::App& app);  // backup, restore
void AddCameraCommands(CLI::App& app);  // camera
void AddVolumeCommands(CLI::App& app);  // volume
void AddPlanCommand(CLI::App& app);     // plan
void AddRunCommand(CLI::App& app);      // run
void AddCheckCommand(CLI::App& app);    // check
void AddFindingsCommand(CLI::App& app); // findings
void AddGapsCommand(CLI::App& app);     // gaps
void AddStatusCommand(CLI::App& app);   // status
void AddRunsCommand(CLI::App& app);     // runs
void AddUndoCommand(CLI::App& app);     // undo
void AddReportCommand(CLI::App& app);   // report
void AddMetricsCommand(CLI::App& app);  // metrics
void AddDoctorCommand(CLI::App& app);   // doctor
void AddHelpCommands(CLI::App& app);    // help, version
