#include "recorder/database/schema.h"
#include "recorder/run/runnumber.h"
#include "recorder/support/paths.h"
#include "recorder/support/privacy.h"
#include "tools/krctl/commands.h"

#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

namespace {

void InitDatabases() {
    recorder::InitDatabases();
    for (const std::string& path : recorder::CloseToOthers(recorder::kDatabaseDir)) {
        std::printf("%s: removed the access of other users\n", path.c_str());
    }
    recorder::NoteNumbersOfDatabases();
}

} // namespace

void AddInitCommand(CLI::App& app) {
    app.add_subcommand("init", "create or upgrade the recorder's databases")
        ->callback(InitDatabases);
}
