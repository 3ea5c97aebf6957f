#include "tools/krctl/commands.h"

#include "recorder/check/check.h"
#include "recorder/check/contentcheck.h"
#include "tools/common/exitstatus.h"
#include "tools/common/joboptions.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/check/checkview.h"
#include "tools/krctl/help.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kShowProgressEvery{1};
constexpr long kBytesPerMegabyte = 1000000;

// What --fix takes.
constexpr const char* kMoved = "moved";
constexpr const char* kSize = "size";
constexpr const char* kLength = "length";
constexpr const char* kChanged = "changed";

struct CheckOptions {
    recorder::MediaSelection media;
    bool names = false; // always compared; accepted for clarity
    CheckLevels levels;
    std::string budget;           // empty: no limit
    std::vector<std::string> fix; // empty: no row is changed
    bool asJson = false;
    bool isQuiet = false;

    [[nodiscard]] bool Fixes(const std::string& what) const {
        return std::find(fix.begin(), fix.end(), what) != fix.end();
    }

    // Fixing a length or contents needs the level that finds it.
    [[nodiscard]] CheckLevels Levels() const {
        return {levels.containers || Fixes(kLength), levels.contents || Fixes(kChanged)};
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
    parts.reserve(views.size());
    for (const CheckedView& view : views) {
        parts.push_back(view.part);
    }
    Progress progress(options);
    std::vector<recorder::PartContents> contents = recorder::CheckContents(
        parts, {.end = end, .acceptChanged = options.Fixes(kChanged)}, examination,
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

std::optional<recorder::RowFix> FixOf(const CheckOptions& options, long startTm) {
    const recorder::FixSelection selection{options.Fixes(kMoved), options.Fixes(kSize),
                                           options.Fixes(kLength)};
    if (!selection.path && !selection.size && !selection.length) {
        return std::nullopt;
    }
    return std::optional<recorder::RowFix>(std::in_place, selection, startTm);
}

std::vector<CheckedView> CheckRows(const CheckOptions& options, const recorder::CheckOptions& check,
                                   const CameraNames& names, CheckPrinter& printer) {
    std::vector<CheckedView> views;
    for (const recorder::CheckedPart& part : recorder::PartsOf(options.media)) {
        Progress(options).ShowPart(names, part);
        views.push_back({part,
                         recorder::CheckPart(
                             part, check,
                             [&](const recorder::Finding& finding, const recorder::FixResult& fix) {
                                 printer.Print(finding, fix);
                             }),
                         std::nullopt});
    }
    return views;
}

void Check(const CheckOptions& options) {
    const recorder::Deadline end = EndOf(options);
    const CheckLevels levels = options.Levels();
    const CameraNames names = ReadCameraNames();
    RequireCameras(options, names);
    const long startTm = std::time(nullptr);
    std::optional<recorder::RowFix> fix = FixOf(options, startTm);
    const recorder::CheckOptions check{levels.containers ? recorder::CheckLevel::Containers
                                                         : recorder::CheckLevel::Names,
                                       startTm, recorder::NewExamination(), fix ? &*fix : nullptr};
    CheckPrinter printer({levels, options.asJson, names});
    std::vector<CheckedView> views = CheckRows(options, check, names, printer);
    if (fix) {
        fix->End();
    }
    if (levels.contents) {
        CheckContents(options, end, check.examination, printer, views);
    }
    printer.End(views, {fix ? fix->Run() : 0, recorder::FindingsOnRecord(options.media),
                        recorder::RowsWithoutPart(options.media)});
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
        "check", "compare rows with their files; records findings, changes no file");
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
    command
        ->add_option("--fix", options->fix,
                     "bring rows up to date: moved, size, length (with codecs); changed takes the "
                     "present contents of files as right")
        ->type_name("TYPE,...")
        ->delimiter(',')
        ->check(OneOf({kMoved, kSize, kLength, kChanged}));
    command->add_flag("--quiet", options->isQuiet, "show no progress");
    command->add_flag("--json", options->asJson, "print JSON");
    command->callback([options] { Check(*options); });
}
