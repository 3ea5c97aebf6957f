// krctl: the operator's command.

#include "recorder/database/schema.h"
#include "recorder/logging/logfile.h"
#include "recorder/run/runnumber.h"
#include "recorder/settings/settings.h"
#include "recorder/support/paths.h"
#include "recorder/support/privacy.h"
#include "tools/common/exitstatus.h"
#include "tools/common/terminal.h"
#include "tools/krctl/commands.h"
#include "tools/krctl/help.h"

#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <unistd.h>

namespace {

void InitDatabases() {
    recorder::InitDatabases();
    for (const std::string& path : recorder::CloseToOthers(recorder::kDatabaseDir)) {
        std::printf("%s: removed the access of other users\n", path.c_str());
    }
    recorder::NoteNumbersOfDatabases();
}

void AddInitCommand(CLI::App& app) {
    app.add_subcommand("init", "create or upgrade the recorder's databases")
        ->callback(InitDatabases);
}

// Incomplete output is a failure, whatever the command did.
int FlushOutput() {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return 0;
    }
    std::fputs("krctl: can't write to standard output\n", stderr);
    return kExitFailed;
}

int Fail(const std::exception& error, int status) {
    std::fprintf(stderr, "krctl: %s\n", Printable(error.what()).c_str());
    return status;
}

// Prints the help or the version if that was asked for, otherwise the error.
int EndParsing(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
        app.exit(error);
        std::cout.flush();
        return FlushOutput();
    }
    std::fprintf(stderr, "%s\n", Printable(UsageMessage(app, error)).c_str());
    return kExitUsage;
}

// If the caller closed a standard descriptor, the next opened file would get its number, and
// output would be written into that file. The descriptors opened here can't be written to.
void OccupyClosedDescriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) < 0) {
            open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    OccupyClosedDescriptors();
    CLI::App app("set up and operate a Kestora recorder", "krctl");
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_help_flag("-h,--help", "show this help");
    app.require_subcommand(1);
    app.set_version_flag("--version", "krctl " KESTORA_VERSION, "show the version");
    AddInitCommand(app);
    AddCameraCommands(app);
    AddVolumeCommands(app);
    AddPlanCommand(app);
    AddRunCommand(app);
    AddStatusCommand(app);
    AddLedgerCommands(app);
    AddReportCommand(app);
    AddMetricsCommand(app);
    AddDoctorCommand(app);
    app.footer("\"krctl COMMAND --help\" describes a command."); // the commands would inherit it
    try {
        app.parse(argc, argv);
        return FlushOutput();
    } catch (const CLI::RuntimeError& error) {
        return error.get_exit_code(); // the command has printed the reason
    } catch (const CLI::ParseError& error) {
        return EndParsing(app, error);
    } catch (const UsageError& error) {
        return Fail(error, kExitUsage);
    } catch (const recorder::SettingsError& error) {
        return Fail(error, kExitSettings);
    } catch (const recorder::UntrustedLog&) {
        // The reason is on stderr already.
        std::fputs("krctl: no change was made, because changes can't be logged\n", stderr);
        return kExitSettings;
    } catch (const std::exception& error) {
        return Fail(error, kExitFailed);
    }
}
