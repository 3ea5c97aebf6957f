// krctl: the operator's command.

#include "recorder/database/schema.h"
#include "tools/cameracommands.h"
#include "tools/ledgercommands.h"
#include "tools/metricscommand.h"
#include "tools/runcommand.h"
#include "tools/statuscommand.h"
#include "tools/volumecommands.h"

#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

namespace {

void AddInitCommand(CLI::App& app) {
    app.add_subcommand("init", "create the recorder's databases, or what is missing of them")
        ->callback(recorder::InitDatabases);
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Operates a Kestora recorder.", "krctl");
    app.require_subcommand(1);
    AddInitCommand(app);
    AddCameraCommands(app);
    AddVolumeCommands(app);
    AddLedgerCommands(app);
    AddMetricsCommand(app);
    AddRunCommand(app);
    AddStatusCommand(app);
    try {
        app.parse(argc, argv);
        return 0;
    } catch (const CLI::RuntimeError& error) {
        return error.get_exit_code(); // a command's own, which has said why
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "krctl: %s\n", error.what());
        return 1;
    }
}
