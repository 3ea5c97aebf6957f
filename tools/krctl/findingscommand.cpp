#include "tools/krctl/commands.h"

#include "recorder/finding/finding.h"
#include "tools/common/exitstatus.h"
#include "tools/common/findingview.h"
#include "tools/common/joboptions.h"
#include "tools/common/jsonlist.h"
#include "tools/common/table.h"
#include "tools/common/texts.h"

#include <cstdio>
#include <memory>
#include <set>
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

Json JsonWithTimes(const recorder::Finding& finding) {
    Json json = JsonOf(finding);
    json["first_seen"] = JsonTime(finding.firstTm);
    json["last_seen"] = JsonTime(finding.lastTm);
    json["run"] = finding.run == 0 ? Json() : Json(finding.run);
    return json;
}

// Findings of a camera that was deleted are on record as long as its rows.
void RequireCameras(const recorder::MediaSelection& selection) {
    std::set<int> known;
    for (const auto& [id, name] : ReadCameraNames()) {
        known.insert(id);
    }
    for (const recorder::FindingCount& count : recorder::CountFindings(selection)) {
        known.insert(count.camId);
    }
    RequireKnownCameras(selection, known);
}

// Returns the number of findings, like PrintFindings.
long PrintFindingsAsJson(const recorder::MediaSelection& selection) {
    JsonList list("findings", "findings");
    long count = 0;
    recorder::ForEachFinding(selection, [&](const recorder::Finding& finding) {
        list.Add(JsonWithTimes(finding));
        ++count;
    });
    list.End();
    return count;
}

long PrintFindings(const recorder::MediaSelection& selection) {
    const CameraNames names = ReadCameraNames();
    LongTable table({{.title = "kind", .rank = 2},
                     {.title = "camera"},
                     {.title = "path"},
                     {.title = "finding"},
                     {.title = "detail", .rank = 1},
                     {.title = "first seen", .rank = 4},
                     {.title = "last seen", .rank = 3},
                     {.title = "source", .rank = 5}});
    long count = 0;
    recorder::ForEachFinding(selection, [&](const recorder::Finding& finding) {
        table.AddRow({KindText(finding.kind), CameraText(names, finding.camId), finding.path,
                      NameOf(finding.type), finding.detail, TimeText(finding.firstTm),
                      TimeText(finding.lastTm), SourceText(finding)});
        ++count;
    });
    table.End();
    if (count == 0) {
        std::puts("No findings on record.");
    }
    return count;
}

void ShowFindings(const FindingsOptions& options) {
    RequireCameras(options.media);
    const long count =
        options.asJson ? PrintFindingsAsJson(options.media) : PrintFindings(options.media);
    if (count > 0) {
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
