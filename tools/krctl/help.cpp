#include "tools/krctl/help.h"

#include "recorder/support/error.h"
#include "tools/common/terminal.h"
#include "tools/krctl/nearest.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <ctime>
#include <functional>
#include <sstream>
#include <utility>
#include <vector>

#include <unistd.h>

namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kGap = 2;
constexpr std::size_t kMaxLabel = 28;
constexpr std::size_t kMinText = 24; // a narrower text is below its label
constexpr std::size_t kIndentBelow = 6;

struct Entry {
    std::string label;
    std::string text;
};

std::size_t Columns() {
    return static_cast<std::size_t>(TerminalColumns(STDOUT_FILENO));
}

// Breaks the text into lines of at most `columns` characters; all but the first are indented.
std::string Wrapped(const std::string& text, std::size_t used, std::size_t indent,
                    std::size_t columns) {
    std::string wrapped;
    std::istringstream words(text);
    bool isFirst = true;
    for (std::string word; words >> word; isFirst = false) {
        const std::size_t width = DisplayWidth(word);
        if (!isFirst && used + 1 + width > columns) {
            wrapped += '\n' + std::string(indent, ' ');
            used = indent;
        } else if (!isFirst) {
            wrapped += ' ';
            ++used;
        }
        wrapped += word;
        used += width;
    }
    return wrapped + '\n';
}

std::string Section(const std::string& title, const std::vector<Entry>& entries) {
    if (entries.empty()) {
        return {};
    }
    std::size_t widest = 0;
    for (const Entry& entry : entries) {
        widest = std::max(widest, std::min(entry.label.size(), kMaxLabel));
    }
    const std::size_t column = kIndent + widest + kGap;
    const bool isBelow = column + kMinText > Columns();
    const std::size_t indent = isBelow ? kIndentBelow : column;
    std::string text = '\n' + title + ":\n";
    for (const Entry& entry : entries) {
        text += std::string(kIndent, ' ') + entry.label;
        const std::size_t used = kIndent + entry.label.size();
        text += isBelow || used + kGap > column ? '\n' + std::string(indent, ' ')
                                                : std::string(column - used, ' ');
        text += Wrapped(entry.text, indent, indent, Columns());
    }
    return text;
}

// "-h, --help", "--kind KIND".
std::string LabelOf(const CLI::Option& option) {
    if (option.get_positional()) {
        return option.get_name(true, false);
    }
    std::string label = CLI::detail::find_and_replace(option.get_name(false, true), ",", ", ");
    if (option.get_items_expected_max() > 0) {
        label += " " + option.get_type_name();
    }
    return label;
}

std::vector<const CLI::Option*> OptionsOf(const CLI::App& command, bool arePositional) {
    return command.get_options(
        [&](const CLI::Option* option) { return option->get_positional() == arePositional; });
}

std::string UsageOf(const CLI::App& command, const std::string& words) {
    std::string usage = "Usage: " + words;
    for (const CLI::Option* const option : OptionsOf(command, true)) {
        usage += " " + LabelOf(*option);
    }
    const bool hasCommands = command.get_require_subcommand_min() > 0;
    bool hasOthers = hasCommands;
    for (const CLI::Option* const option : OptionsOf(command, false)) {
        if (option->get_required()) {
            usage += " " + LabelOf(*option);
        }
        hasOthers = hasOthers || (!option->get_required() && option != command.get_help_ptr());
    }
    return usage + (hasCommands ? " COMMAND" : "") + (hasOthers ? " [OPTIONS]" : "");
}

std::vector<Entry> Entries(const std::vector<const CLI::Option*>& options,
                           const std::string& group) {
    std::vector<Entry> entries;
    for (const CLI::Option* const option : options) {
        if (option->get_group() == group) {
            entries.push_back({LabelOf(*option), option->get_description()});
        }
    }
    return entries;
}

// The command that was being parsed, and the words that name it: "krctl camera add".
struct Parsed {
    const CLI::App* command;
    std::string words;
};

Parsed ParsedIn(const CLI::App& app) {
    Parsed parsed{&app, app.get_name()};
    while (!parsed.command->get_subcommands().empty()) {
        parsed.command = parsed.command->get_subcommands().front();
        parsed.words += " " + parsed.command->get_name();
    }
    return parsed;
}

std::vector<std::string> CommandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* const command : app.get_subcommands({})) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> OptionNames(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* const option : OptionsOf(command, false)) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

// `text` with the nearest of the names, if one is similar.
std::string WithNearest(const std::string& text, const std::string& typed,
                        const std::vector<std::string>& names) {
    const std::string nearest = Nearest(typed, names);
    return nearest.empty() ? text : text + "; did you mean \"" + nearest + "\"?";
}

std::string UnknownArgumentText(const CLI::App& command, const std::string& argument) {
    const std::string typed = argument.substr(0, argument.find('='));
    const bool isOption = argument.starts_with('-');
    if (!isOption && command.get_require_subcommand_min() > 0) {
        return UnknownCommandText(command, argument);
    }
    return WithNearest("unexpected argument \"" + argument + '"', typed,
                       isOption ? OptionNames(command) : std::vector<std::string>());
}

// Returns the reason of an error that is not about an unknown argument.
std::string ReasonOf(const CLI::ParseError& error) {
    std::string text = error.what();
    const bool isRequired = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    if (isRequired && text.find("subcommand") != std::string::npos) {
        return "expected a command";
    }
    const bool isMissing = dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr &&
                           text.find(" missing") != std::string::npos;
    if (isMissing) {
        return text.substr(0, text.find(':')) + " requires a value";
    }
    if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) {
        return CLI::detail::find_and_replace(text, " excludes ", " can't be used with ");
    }
    return text;
}

// An unknown argument is the likely cause of an option or command that is missing.
bool MayBeUnknownArgument(const CLI::ParseError& error) {
    return dynamic_cast<const CLI::RequiredError*>(&error) != nullptr ||
           dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
}

// Checks that `parse` does not throw for an option's text.
CLI::Validator AcceptedBy(const std::function<void(const std::string&)>& parse) {
    return {[=](const std::string& text) -> std::string {
                try {
                    parse(text);
                    return {};
                } catch (const recorder::Error& error) {
                    return error.what();
                }
            },
            ""};
}

} // namespace

std::string HelpFormatter::make_help(const CLI::App* command, std::string words,
                                     CLI::AppFormatMode /*mode*/) const {
    words = CLI::detail::trim_copy(words);
    std::string help = words + " - ";
    help += Wrapped(command->get_description(), help.size(), kIndent, Columns()) + '\n';
    help += Wrapped(UsageOf(*command, words), 0, kIndentBelow, Columns());

    std::vector<Entry> commands;
    for (const CLI::App* const each : command->get_subcommands({})) {
        commands.push_back({each->get_name(), each->get_description()});
    }
    help += Section("Commands", commands);
    help += Section("Arguments", Entries(OptionsOf(*command, true), "Options"));
    for (const std::string& group : command->get_groups()) {
        help += Section(group, Entries(OptionsOf(*command, false), group));
    }
    const std::string footer = command->get_footer();
    return help + (footer.empty() ? "" : '\n' + Wrapped(footer, 0, 0, Columns()));
}

CLI::Validator PositiveInteger(long last) {
    const std::string expected = last == LONG_MAX
                                     ? "expected a positive integer"
                                     : "expected an integer from 1 to " + std::to_string(last);
    return {[=](const std::string& text) {
                long value = 0;
                const char* const end = text.data() + text.size();
                const auto [stop, error] = std::from_chars(text.data(), end, value);
                const bool isValid =
                    error == std::errc() && stop == end && value >= 1 && value <= last;
                return isValid ? std::string() : expected + ", not \"" + text + '"';
            },
            ""};
}

CLI::Validator OneOf(const std::vector<std::string>& texts) {
    return {[texts](const std::string& text) -> std::string {
                if (std::find(texts.begin(), texts.end(), text) != texts.end()) {
                    return "";
                }
                return "expected one of " + CLI::detail::join(texts, ", ") + ", not \"" + text +
                       '"';
            },
            ""};
}

CLI::Validator MomentOption(Bound bound) {
    return AcceptedBy(
        [=](const std::string& text) { (void)ParseMoment(text, bound, std::time(nullptr)); });
}

CLI::Validator DurationOption() {
    return AcceptedBy([](const std::string& text) { (void)ParseDuration(text); });
}

std::string VersionText() {
    return "krctl " KESTORA_VERSION;
}

const CLI::App* FindCommand(const CLI::App& app, const std::string& name) {
    const std::vector<const CLI::App*> commands = app.get_subcommands({});
    const auto found = std::find_if(commands.begin(), commands.end(), [&](const CLI::App* command) {
        return command->get_name() == name;
    });
    return found == commands.end() ? nullptr : *found;
}

std::string UnknownCommandText(const CLI::App& app, const std::string& name) {
    return WithNearest("unknown command \"" + name + '"', name, CommandNames(app));
}

std::string WithHelpHint(const std::string& text, const std::string& words) {
    return text + (text.ends_with('?') ? " See \"" : "; see \"") + words + " --help\"";
}

std::string UsageMessage(const CLI::App& app, const CLI::ParseError& error) {
    const Parsed parsed = ParsedIn(app);
    const std::vector<std::string> unknown = app.remaining(true);
    const std::string reason = MayBeUnknownArgument(error) && !unknown.empty()
                                   ? UnknownArgumentText(*parsed.command, unknown.front())
                                   : ReasonOf(error);
    const std::string command = parsed.words.substr(app.get_name().size());
    return app.get_name() + ":" + command + (command.empty() ? " " : ": ") +
           WithHelpHint(reason, parsed.words);
}
