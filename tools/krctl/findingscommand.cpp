#include "tools/krctl/commands.h"

#include "recorder/finding/finding.h"
#include "tools/common/exitstatus.h"
#include "tools/common/findingview.h"
#include "tools/common/joboptions.h"
#include "tools/common/json.h"
#include "tools/common/table.h"
#include "tools/common/texts.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct FindingsOptions {
    recorder::MediaSelection media;
    bool asJson = false;
};

std::string SourceText(const recorder::Finding& finding) {
    return finding.run == 0 ? "check" : "run " + std::to_string(finding.run);
}

void PrintFindings(const std::vector<recorder::Finding>& findings) {
    const CameraNames names = ReadCameraNames();
    Table table({{.title = "kind", .rank = 2},
                 {.title = "camera"},
                 {.title = "path"},
                 {.title = "finding"},
                 {.title = "detail", .rank = 1},
                 {.title = "first seen", .rank = 4},
                 {.title = "last seen", .rank = 3},
                 {.title = "source", .rank = 5}});
    for (const recorder::Finding& finding : findings) {
        table.AddRow({KindText(finding.kind), CameraText(names, finding.camId), finding.path,
                      NameOf(finding.type), finding.detail, TimeText(finding.firstTm),
                      TimeText(finding.lastTm), SourceText(finding)});
    }
    PrintTable(table);
}

void PrintFindingsAsJson(const std::vector<recorder::Finding>& findings) {
    Json document;
    document["findings"] = Json::array();
    for (const recorder::Finding& finding : findings) {
        Json json = JsonOf(finding);
        json["first_seen"] = JsonTime(finding.firstTm);
        json["last_seen"] = JsonTime(finding.lastTm);
        json["run"] = finding.run == 0 ? Json() : Json(finding.run);
        document["findings"].push_back(json);
    }
    PrintJson("findings", document);
}

void ShowFindings(const FindingsOptions& options) {
    const std::vector<recorder::Finding> findings = recorder::ListFindings(options.media);
    if (options.asJson) {
        PrintFindingsAsJson(findings);
    } else if (findings.empty()) {
        std::puts("No findings on record.");
    } else {
        PrintFindings(findings);
    }
    if (!findings.empty()) {
        throw CLI::RuntimeError(kExitFindings);
    }
}

} // namespace

void AddFindingsCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "findings", "list what checks and runs have found wrong with files; changes nothing");
    const auto options = std::make_shared<FindingsOptions>();
    AddMediaOptions(*command, options->media);
    command->add_flag("--json", options->asJson, "print JSON");
    command->callback([options] { ShowFindings(*options); });
}
