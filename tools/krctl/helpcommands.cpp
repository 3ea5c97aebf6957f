#include "tools/common/exitstatus.h"
#include "tools/krctl/commands.h"
#include "tools/krctl/help.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

// Prints the help of the command that these words name; of krctl itself without words.
void PrintHelp(const CLI::App& app, const std::vector<std::string>& words) {
    const CLI::App* command = &app;
    std::string name = app.get_name();
    for (const std::string& word : words) {
        const CLI::App* const next = FindCommand(*command, word);
        if (next == nullptr) {
            throw UsageError("help: " + WithHelpHint(UnknownCommandText(*command, word), name));
        }
        command = next;
        name += " " + word;
    }
    std::fputs(app.get_formatter()->make_help(command, name, CLI::AppFormatMode::Normal).c_str(),
               stdout);
}

} // namespace

void AddHelpCommands(CLI::App& app) {
    const auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* const help = app.add_subcommand("help", "show the help of krctl or of a command");
    help->add_option("COMMAND", *words, "the command, such as plan or camera add")
        ->type_name("")
        ->expected(0, -1);
    help->callback([&app, words] { PrintHelp(app, *words); });
    app.add_subcommand("version", "show the version")->callback([] {
        std::puts(VersionText().c_str());
    });
}
