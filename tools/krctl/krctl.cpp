// krctl: the operator's command.

#include "recorder/database/schema.h"
#include "recorder/logging/logfile.h"
#include "recorder/run/runnumber.h"
#include "recorder/settings/settings.h"
#include "recorder/support/paths.h"
#include "recorder/support/privacy.h"
#include "tools/common/terminal.h"
#include "tools/krctl/commands.h"

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <sysexits.h>
#include <unistd.h>

namespace {

void InitDatabases() {
    recorder::InitDatabases();
    for (const std::string& path : recorder::CloseToOthers(recorder::kDatabaseDir)) {
        std::printf("%s was open to others and is not any more\n", path.c_str());
    }
    recorder::NoteNumbersOfDatabases();
}

void AddInitCommand(CLI::App& app) {
    app.add_subcommand("init", "create the recorder's databases, or what is missing of them")
        ->callback(InitDatabases);
}

int Complain(const std::exception& error, int status) {
    std::fprintf(stderr, "krctl: %s\n", Printable(error.what()).c_str());
    return status;
}

// Wrong usage; or help was asked for, or the version.
int Tell(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> unknown = app.remaining(true);
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr && !unknown.empty()) {
        std::fprintf(stderr, "krctl: there is no command \"%s\"; \"krctl --help\" lists them\n",
                     Printable(unknown.front()).c_str());
        return EX_USAGE;
    }
    return app.exit(error) == 0 ? 0 : EX_USAGE;
}

// A descriptor that the caller has closed would be given to the next file that is opened, and what
// is printed would go into that file. These can't be written to.
void OccupyClosedDescriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) < 0) {
            open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

// What was printed in part, or not at all, must not look like an outcome.
int FlushOutput() {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return 0;
    }
    std::fprintf(stderr, "krctl: can't write to the standard output\n");
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    OccupyClosedDescriptors();
    CLI::App app("Operates a Kestora recorder.", "krctl");
    app.require_subcommand(1);
    app.set_version_flag("--version", "krctl " KESTORA_VERSION);
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
    try {
        app.parse(argc, argv);
        return FlushOutput();
    } catch (const CLI::RuntimeError& error) {
        return error.get_exit_code(); // a command's own, which has said why
    } catch (const CLI::ParseError& error) {
        return Tell(app, error);
    } catch (const recorder::SettingsError& error) {
        return Complain(error, EX_CONFIG);
    } catch (const recorder::UntrustedLog&) {
        // the reason is on stderr already
        std::fputs("krctl: a change that can't be logged is not made\n", stderr);
        return EX_CONFIG;
    } catch (const std::exception& error) {
        return Complain(error, 1);
    }
}
