// krctl: the operator's command.

#include "recorder/logging/logfile.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "tools/common/exitstatus.h"
#include "tools/common/terminal.h"
#include "tools/krctl/commandline.h"
#include "tools/krctl/help.h"

#include <cstdio>
#include <exception>
#include <iostream>

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <unistd.h>

namespace {

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
    CLI::App app;
    AddCommands(app);
    try {
        app.parse(argc, argv);
        return FlushOutput();
    } catch (const CLI::RuntimeError& error) {
        // The command has printed the reason. Its output may be incomplete.
        const int status = error.get_exit_code();
        return FlushOutput() == kExitOk ? status : WorseStatus(kExitFailed, status);
    } catch (const CLI::ParseError& error) {
        return EndParsing(app, error);
    } catch (const UsageError& error) {
        return Fail(error, kExitUsage);
    } catch (const recorder::NotFound& error) {
        return Fail(error, kExitUsage);
    } catch (const recorder::DatabaseUnusable& error) {
        return Fail(error, kExitNoDatabases);
    } catch (const recorder::Busy& error) {
        return Fail(error, kExitRunInProgress);
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
