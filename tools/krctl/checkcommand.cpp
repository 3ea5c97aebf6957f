#include "tools/krctl/commands.h"

#include "recorder/check/check.h"
#include "recorder/check/contentcheck.h"
#include "tools/common/exitstatus.h"
#include "tools/common/joboptions.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/check/checkview.h"
#include "tools/krctl/help.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kShowProgressEvery{1};
constexpr long kBytesPerMegabyte = 1000000;

struct CheckOptions {
    recorder::MediaSelection media;
    bool names = false; // always compared; accepted for clarity
    CheckLevels levels;
    std::string budget; // empty: no limit
    bool asJson = false;
    bool isQuiet = false;

    [[nodiscard]] recorder::CheckLevel Level() const {
        return levels.containers ? recorder::CheckLevel::Containers : recorder::CheckLevel::Names;
    }
};

// Shows on a terminal what is being done.
class Progress {
public:
    explicit Progress(const CheckOptions& options)
        : m_isShown(!options.isQuiet && IsTerminal(STDERR_FILENO)) {}

    void ShowPart(const CameraNames& names, const recorder::CheckedPart& part) const {
        if (m_isShown) {
            const std::string camera = part.camId == 0 ? "" : CameraText(names, part.camId);
            std::fprintf(stderr, "checking %s\n",
                         Printable(PartText(part.table.name, camera)).c_str());
        }
    }

    void AddFile(long bytes) {
        ++m_files;
        m_bytes += bytes;
        if (m_isShown && Clock::now() - m_shown > kShowProgressEvery) {
            m_shown = Clock::now();
            std::fprintf(stderr, "\rcontents: %s, %ld MB read ", Counted(m_files, "file").c_str(),
                         m_bytes / kBytesPerMegabyte);
        }
    }

    void EndContents() const {
        if (m_shown != Clock::time_point()) {
            std::fputc('\n', stderr);
        }
    }

private:
    bool m_isShown;
    long m_files = 0;
    long m_bytes = 0;
    Clock::time_point m_shown;
};

void RequireCameras(const CheckOptions& options, const CameraNames& names) {
    std::set<int> known;
    for (const auto& [id, name] : names) {
        known.insert(id);
    }
    RequireKnownCameras(options.media, known);
}

void CheckContents(const CheckOptions& options, const recorder::Deadline& end, long examination,
                   CheckPrinter& printer, std::vector<CheckedView>& views) {
    std::vector<recorder::CheckedPart> parts;
    for (const CheckedView& view : views) {
        parts.push_back(view.part);
    }
    Progress progress(options);
    std::vector<recorder::PartContents> contents = recorder::CheckContents(
        parts, {.end = end}, examination,
        [&](const recorder::Finding& finding) { printer.Print(finding); },
        [&](long bytes) { progress.AddFile(bytes); });
    progress.EndContents();
    for (std::size_t i = 0; i < views.size(); ++i) {
        views[i].contents = std::move(contents[i]);
    }
}

recorder::Deadline EndOf(const CheckOptions& options) {
    return options.budget.empty()
               ? recorder::Deadline::Never()
               : recorder::Deadline::In(std::chrono::seconds(ParseDuration(options.budget)));
}

void Check(const CheckOptions& options) {
    const recorder::Deadline end = EndOf(options);
    const CameraNames names = ReadCameraNames();
    RequireCameras(options, names);
    const long startTm = std::time(nullptr);
    const long examination = recorder::NewExamination();
    CheckPrinter printer({options.levels, options.asJson, names});
    std::vector<CheckedView> views;
    for (const recorder::CheckedPart& part : recorder::PartsOf(options.media)) {
        Progress(options).ShowPart(names, part);
        views.push_back(
            {part,
             recorder::CheckPart(part, options.Level(), startTm, examination,
                                 [&](const recorder::Finding& finding) { printer.Print(finding); }),
             std::nullopt});
    }
    if (options.levels.contents) {
        CheckContents(options, end, examination, printer, views);
    }
    printer.End(views);
    if (!IsComplete(views)) {
        throw CLI::RuntimeError(kExitFailed);
    }
    if (printer.Findings() > 0) {
        throw CLI::RuntimeError(kExitFindings);
    }
}

} // namespace

void AddCheckCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "check", "compare rows with their files; records findings, changes no row and no file");
    const auto options = std::make_shared<CheckOptions>();
    AddMediaOptions(*command, options->media);
    command->add_flag("--names", options->names, "compare names and sizes; always done");
    command->add_flag("--containers", options->levels.containers,
                      "also compare the headers of recordings");
    CLI::Option* const contents =
        command->add_flag("--contents", options->levels.contents,
                          "also compare the contents of files with those at earlier checks");
    command
        ->add_option("--budget", options->budget,
                     "with --contents: read for this long; the next check continues")
        ->type_name("TIME")
        ->check(DurationOption())
        ->needs(contents);
    command->add_flag("--quiet", options->isQuiet, "show no progress");
    command->add_flag("--json", options->asJson, "print JSON");
    command->callback([options] { Check(*options); });
}
