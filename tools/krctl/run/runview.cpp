#include "tools/krctl/run/runview.h"

#include "recorder/support/paths.h"
#include "tools/common/exitstatus.h"
#include "tools/common/findingview.h"
#include "tools/common/table.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr std::size_t kUnreadableShown = 10;
constexpr double kMsPerSecond = 1000.0;

std::vector<std::string> Cells(const std::string& kind, const std::string& camera,
                               const recorder::RunPart& part) {
    return {kind,
            camera,
            std::to_string(part.files),
            std::to_string(part.known),
            std::to_string(part.added),
            std::to_string(part.removed),
            std::to_string(part.failures),
            DurationText(static_cast<double>(part.durationMs) / kMsPerSecond)};
}

Table TableOf(const RunView& run, const CameraNames& names) {
    Table table({{"kind"},
                 {"camera"},
                 {"files", true, 4, FilesLegend(run.parts)},
                 {"rows before", true, 5},
                 {"added", true, 3},
                 {"removed", true, 1},
                 {"failures", true, 2},
                 {"time", true, 6}});
    for (const recorder::RunPart& part : run.parts) {
        if (IsShown(part)) {
            table.AddRow(Cells(KindText(part.kind), CameraOf(names, part), part));
        }
    }
    table.AddRow(Cells("total", "", TotalOf(run.parts)));
    return table;
}

void PrintRefusals(const RunView& run, const CameraNames& names) {
    for (const std::string& refusal : RefusalsOf(run, names)) {
        std::printf("%s\n", Coloured(Colour::Red, Printable("REFUSED: " + refusal)).c_str());
    }
}

void PrintUnreadable(const RunView& run, const CameraNames& names) {
    const auto shown = static_cast<long>(std::min(run.unreadable.size(), kUnreadableShown));
    for (long i = 0; i < shown; ++i) {
        const std::string text =
            "FAILED: " + FindingText(run.unreadable[static_cast<std::size_t>(i)], names);
        std::printf("%s\n", Coloured(Colour::Red, Printable(text)).c_str());
    }
    if (const long more = static_cast<long>(run.unreadable.size()) - shown; more > 0) {
        std::printf("and %ld more; \"krctl findings\" lists them\n", more);
    }
}

std::string LogHint(const recorder::RunRecord& record) {
    return record.unlogged == 0
               ? "see the log"
               : "the log could not be written, " + Counted(record.unlogged, "line") + " missing";
}

void PrintOutcome(const RunView& view) {
    const recorder::RunRecord& record = view.record;
    const std::string text = OutcomeText(view);
    const std::string run = "run " + std::to_string(record.id) + ": ";
    switch (OutcomeOf(record)) {
    case RunOutcome::Complete:
        std::printf(
            "%s%s\n", run.c_str(),
            Coloured(view.knownFindings == 0 ? Colour::Green : Colour::Yellow, text).c_str());
        break;
    case RunOutcome::Failures:
        std::printf("%s%s; %s: %s\n", run.c_str(), Coloured(Colour::Red, text).c_str(),
                    LogHint(record).c_str(), recorder::kLogFile);
        break;
    case RunOutcome::Unfinished:
        std::printf("%s%s\n", run.c_str(), Coloured(Colour::Yellow, text).c_str());
        break;
    }
}

const char* OutcomeName(RunOutcome outcome) {
    switch (outcome) {
    case RunOutcome::Complete:
        return "complete";
    case RunOutcome::Failures:
        return "failures";
    case RunOutcome::Unfinished:
        break;
    }
    return "unfinished";
}

bool HasChanges(const recorder::RunRecord& record) {
    return std::any_of(
        record.changes.begin(), record.changes.end(),
        [](const recorder::RunChange& change) { return change.added + change.removed > 0; });
}

// "camera 3 Front", "snapshots"
std::string PlaceOf(const CameraNames& names, const recorder::RunPart& part) {
    const std::string camera = CameraOf(names, part);
    return camera == "-" ? KindText(part.kind) : "camera " + camera;
}

void AddCounts(Json& json, const recorder::RunPart& part) {
    json["files"] = part.files;
    json["rows_before"] = part.known;
    json["added"] = part.added;
    json["removed"] = part.removed;
    json["failures"] = part.failures;
    json["refusals"] = part.refusals;
    json["duration_s"] = static_cast<double>(part.durationMs) / kMsPerSecond;
}

Json JsonOfPart(const recorder::RunPart& part, const CameraNames& names) {
    Json json;
    json["kind"] = part.kind.empty() ? Json() : Json(KindKey(part.kind));
    json["camera"] = part.camId == 0 ? Json() : Json(part.camId);
    const auto name = names.find(part.camId);
    json["camera_name"] = name == names.end() ? Json() : JsonText(name->second);
    AddCounts(json, part);
    json["refusal"] = part.refusal.empty() ? Json() : JsonText(part.refusal);
    return json;
}

} // namespace

void AddUp(recorder::RunPart& sum, const recorder::RunPart& part) {
    sum.durationMs += part.durationMs;
    sum.files += part.files;
    sum.known += part.known;
    sum.added += part.added;
    sum.removed += part.removed;
    sum.failures += part.failures;
    sum.refusals += part.refusals;
}

namespace {

// A run that was killed has only the refusals of its parts on record.
bool HasRefusals(const recorder::RunRecord& record) {
    if (record.endTm) {
        return record.refusals > 0;
    }
    const std::vector<recorder::RunPart> parts = recorder::PartsOfRun(record.id);
    return std::any_of(parts.begin(), parts.end(),
                       [](const recorder::RunPart& part) { return part.refusals > 0; });
}

} // namespace

RunView ViewOf(const recorder::RunRecord& record) {
    RunView view{record, recorder::PartsOfRun(record.id), {}, recorder::FindingsOnRecord()};
    if (view.knownFindings > 0) {
        view.unreadable = recorder::FindingsOfRun(record.id);
    }
    return view;
}

RunOutcome OutcomeOf(const recorder::RunRecord& record) {
    if (!record.endTm) {
        return RunOutcome::Unfinished;
    }
    return record.failures + record.refusals == 0 ? RunOutcome::Complete : RunOutcome::Failures;
}

std::string OutcomeText(const recorder::RunRecord& record) {
    const RunOutcome outcome = OutcomeOf(record);
    if (outcome == RunOutcome::Complete && !HasChanges(record)) {
        return "nothing to add or remove";
    }
    if (outcome != RunOutcome::Failures) {
        return OutcomeName(outcome);
    }
    std::string text;
    if (record.failures > 0) {
        text = Counted(record.failures, "failure");
    }
    if (record.refusals > 0) {
        text += (text.empty() ? "" : ", ") + Counted(record.refusals, "refusal");
    }
    return text;
}

std::string OutcomeText(const RunView& run) {
    std::string text = OutcomeText(run.record);
    if (run.knownFindings == 0) {
        return text;
    }
    const bool isInLine = OutcomeOf(run.record) == RunOutcome::Complete && !HasChanges(run.record);
    return (isInLine ? "in line" : text) + ", " + Counted(run.knownFindings, "known finding");
}

int ExitStatusOf(const recorder::RunRecord& record) {
    if (HasRefusals(record)) {
        return kExitRefused;
    }
    return OutcomeOf(record) == RunOutcome::Complete ? kExitOk : kExitFailed;
}

bool IsShown(const recorder::RunPart& part) {
    return part.kind != "event" || part.camId != 0 ||
           part.added + part.removed + part.failures + part.refusals > 0;
}

std::string CameraOf(const CameraNames& names, const recorder::RunPart& part) {
    return part.kind == "event" && part.camId == 0 ? "gone" : CameraText(names, part.camId);
}

recorder::RunPart TotalOf(const std::vector<recorder::RunPart>& parts) {
    recorder::RunPart total;
    for (const recorder::RunPart& part : parts) {
        AddUp(total, part);
    }
    return total;
}

std::vector<std::string> RefusalsOf(const RunView& run, const CameraNames& names) {
    std::vector<std::string> refusals;
    for (const recorder::RunPart& part : run.parts) {
        const std::string text = PlaceOf(names, part) + ": " + part.refusal;
        if (part.refusals > 0 &&
            std::find(refusals.begin(), refusals.end(), text) == refusals.end()) {
            refusals.push_back(text);
        }
    }
    return refusals;
}

void PrintRun(const RunView& run) {
    const CameraNames names = ReadCameraNames();
    PrintTable(TableOf(run, names));
    PrintRefusals(run, names);
    PrintUnreadable(run, names);
    PrintOutcome(run);
}

Json JsonOf(const RunView& run) {
    const CameraNames names = ReadCameraNames();
    Json json;
    json["run"] = run.record.id;
    json["pid"] = run.record.pid;
    json["start"] = JsonTime(run.record.startTm);
    json["end"] = run.record.endTm ? JsonTime(*run.record.endTm) : Json();
    json["outcome"] = OutcomeName(OutcomeOf(run.record));
    AddCounts(json["total"], TotalOf(run.parts));
    json["total"]["failures"] = run.record.failures;
    json["total"]["refusals"] = run.record.refusals;
    json["unlogged"] = run.record.unlogged;
    json["known_findings"] = run.knownFindings;
    json["unreadable"] = Json::array();
    for (const recorder::Finding& finding : run.unreadable) {
        json["unreadable"].push_back(JsonOf(finding));
    }
    json["parts"] = Json::array();
    for (const recorder::RunPart& part : run.parts) {
        json["parts"].push_back(JsonOfPart(part, names));
    }
    return json;
}
