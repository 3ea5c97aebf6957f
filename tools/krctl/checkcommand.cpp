#include "tools/krctl/commands.h"

#include "recorder/check/check.h"
#include "tools/common/exitstatus.h"
#include "tools/common/findingview.h"
#include "tools/common/joboptions.h"
#include "tools/common/json.h"
#include "tools/common/table.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <unistd.h>

namespace {

constexpr long kFindingsShown = 20;

struct CheckOptions {
    recorder::MediaSelection media;
    bool names = false; // the default
    bool containers = false;
    bool asJson = false;
    bool isQuiet = false;

    [[nodiscard]] recorder::CheckLevel Level() const {
        return containers ? recorder::CheckLevel::Containers : recorder::CheckLevel::Names;
    }
};

struct Checked {
    recorder::CheckedPart part;
    recorder::PartCheck result;
};

// Prints findings when they are found, because there may be millions.
class FindingPrinter {
public:
    FindingPrinter(const CheckOptions& options, const CameraNames& names)
        : m_options(options), m_names(names) {}

    void Print(const recorder::Finding& finding) {
        ++m_count;
        if (m_options.asJson) {
            std::printf("%s    %s", m_count > 1 ? ",\n" : (JsonBegin() + "\n").c_str(),
                        JsonOf(finding).dump().c_str());
        } else if (m_count <= kFindingsShown) {
            std::printf("%s\n", Printable(FindingText(finding, m_names)).c_str());
        }
    }

    [[nodiscard]] long Count() const { return m_count; }

    [[nodiscard]] std::string JsonBegin() const {
        return "{\n  \"schema\": \"" + SchemaName("check") + "\",\n  \"level\": \"" +
               (m_options.containers ? "containers" : "names") + "\",\n  \"findings\": [";
    }

private:
    const CheckOptions& m_options;
    const CameraNames& m_names;
    long m_count = 0;
};

long FilesBeingWritten(const std::vector<Checked>& parts) {
    return std::accumulate(parts.begin(), parts.end(), 0L, [](long files, const Checked& part) {
        return files + part.result.beingWritten;
    });
}

std::string CameraOf(const CameraNames& names, const recorder::CheckedPart& part) {
    return part.camId == 0 ? "" : CameraText(names, part.camId);
}

Json JsonOfPart(const Checked& checked) {
    Json json;
    json["kind"] = KindKey(checked.part.table.name);
    json["camera"] = checked.part.camId == 0 ? Json() : Json(checked.part.camId);
    json["rows"] = checked.result.rows;
    json["findings"] = checked.result.findings;
    json["being_written"] = checked.result.beingWritten;
    json["problems"] = Json::array();
    for (const std::string& problem : checked.result.problems) {
        json["problems"].push_back(JsonText(problem));
    }
    return json;
}

bool IsComplete(const std::vector<Checked>& parts) {
    return std::all_of(parts.begin(), parts.end(),
                       [](const Checked& part) { return part.result.problems.empty(); });
}

void EndJson(const FindingPrinter& findings, const std::vector<Checked>& parts) {
    Json json;
    json["complete"] = IsComplete(parts);
    json["parts"] = Json::array();
    for (const Checked& checked : parts) {
        json["parts"].push_back(JsonOfPart(checked));
    }
    std::string rest = json.dump(2);
    rest.erase(0, rest.find('{') + 1);
    std::printf("%s],%s\n", findings.Count() > 0 ? "\n  " : findings.JsonBegin().c_str(),
                rest.c_str());
}

void PrintParts(const CameraNames& names, const std::vector<Checked>& parts) {
    Table table({{"kind"}, {"camera"}, {"rows", true}, {"findings", true}});
    for (const Checked& checked : parts) {
        table.AddRow({KindText(checked.part.table.name), CameraText(names, checked.part.camId),
                      std::to_string(checked.result.rows),
                      std::to_string(checked.result.findings)});
    }
    PrintTable(table);
    for (const Checked& checked : parts) {
        for (const std::string& problem : checked.result.problems) {
            const std::string text =
                "NOT CHECKED: " + PartText(checked.part.table.name, CameraOf(names, checked.part)) +
                ": " + problem;
            std::printf("%s\n", Coloured(Colour::Red, Printable(text)).c_str());
        }
    }
}

// Claims no more than what was compared.
std::string Outcome(const CheckOptions& options, long findings, bool isComplete) {
    const std::string compared = options.containers
                                     ? "the names, sizes and headers of files were compared"
                                     : "the names and sizes of files were compared";
    const std::string found = findings == 0
                                  ? "Nothing found; " + compared
                                  : Counted(findings, "finding") + "; krctl findings lists them";
    return found + (isComplete ? "." : "; the check is incomplete.");
}

void PrintResult(const CheckOptions& options, const CameraNames& names,
                 const FindingPrinter& findings, const std::vector<Checked>& parts) {
    if (options.asJson) {
        EndJson(findings, parts);
        return;
    }
    if (findings.Count() > kFindingsShown) {
        std::printf("and %s\n", Counted(findings.Count() - kFindingsShown, "finding").c_str());
    }
    if (findings.Count() > 0) {
        std::putchar('\n');
    }
    PrintParts(names, parts);
    if (const long files = FilesBeingWritten(parts); files > 0) {
        std::printf("%s being written and %s not compared.\n",
                    (Counted(files, "file") + (files == 1 ? " was" : " were")).c_str(),
                    files == 1 ? "was" : "were");
    }
    std::printf("%s\n", Outcome(options, findings.Count(), IsComplete(parts)).c_str());
}

void ShowProgress(const CheckOptions& options, const CameraNames& names,
                  const recorder::CheckedPart& part) {
    if (!options.isQuiet && IsTerminal(STDERR_FILENO)) {
        std::fprintf(stderr, "checking %s\n",
                     Printable(PartText(part.table.name, CameraOf(names, part))).c_str());
    }
}

void Check(const CheckOptions& options) {
    const CameraNames names = ReadCameraNames();
    std::set<int> known;
    for (const auto& [id, name] : names) {
        known.insert(id);
    }
    RequireKnownCameras(options.media, known);
    const long startTm = std::time(nullptr);
    const long examination = recorder::NewExamination();
    FindingPrinter findings(options, names);
    std::vector<Checked> parts;
    for (const recorder::CheckedPart& part : recorder::PartsOf(options.media)) {
        ShowProgress(options, names, part);
        parts.push_back({part, recorder::CheckPart(part, options.Level(), startTm, examination,
                                                   [&](const recorder::Finding& finding) {
                                                       findings.Print(finding);
                                                   })});
    }
    PrintResult(options, names, findings, parts);
    if (!IsComplete(parts)) {
        throw CLI::RuntimeError(kExitFailed);
    }
    if (findings.Count() > 0) {
        throw CLI::RuntimeError(kExitFindings);
    }
}

} // namespace

void AddCheckCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "check", "compare rows with their files; records findings, changes no row and no file");
    const auto options = std::make_shared<CheckOptions>();
    AddMediaOptions(*command, options->media);
    CLI::Option* const isNames = command->add_flag("--names", options->names,
                                                   "compare names and sizes; this is the default");
    command->add_flag("--containers", options->containers, "also compare the headers of recordings")
        ->excludes(isNames);
    command->add_flag("--quiet", options->isQuiet, "show no progress");
    command->add_flag("--json", options->asJson, "print JSON");
    command->callback([options] { Check(*options); });
}
