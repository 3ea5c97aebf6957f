#include "tools/krctl/commands.h"

#include "recorder/run/runlist.h"
#include "tools/common/json.h"
#include "tools/common/moment.h"
#include "tools/common/table.h"
#include "tools/common/texts.h"
#include "tools/krctl/help.h"
#include "tools/krctl/run/runview.h"

#include <algorithm>
#include <climits>
#include <ctime>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct RunsOptions {
    std::optional<long> limit;
    std::optional<std::string> since;
    bool asJson = false;
};

// If databases were restored, two runs can have one number. Each is then shown with its identity.
std::string LostText(const recorder::RunRecord& run, const std::vector<recorder::RunRecord>& runs) {
    const auto ofNumber = std::count_if(runs.begin(), runs.end(),
                                        [&](const auto& other) { return other.id == run.id; });
    return ofNumber < 2 ? "record lost"
                        : "another run, record lost, " + recorder::IdentityText(run);
}

// Shorter than OutcomeText, so that the table fits on 80 columns.
std::string ShortOutcomeText(const recorder::RunRecord& run) {
    const bool hasNoChanges = OutcomeOf(run) == RunOutcome::Complete && run.changes.empty();
    return hasNoChanges ? "no changes" : OutcomeText(run);
}

void AddRows(Table& table, const recorder::RunRecord& run,
             const std::vector<recorder::RunRecord>& runs) {
    const std::string id = std::to_string(run.id);
    const std::string start = run.isOnRecord ? TimeText(run.startTm) : "-";
    const std::string end = !run.isOnRecord ? "-" : run.endTm ? TimeText(*run.endTm) : "unfinished";
    const std::string outcome = run.isOnRecord ? ShortOutcomeText(run) : LostText(run, runs);
    if (run.changes.empty()) {
        table.AddRow({id, start, end, outcome, "-", "0", "0", "0"});
    }
    for (const recorder::RunChange& change : run.changes) {
        table.AddRow({id, start, end, outcome, KindText(change.kind), std::to_string(change.added),
                      std::to_string(change.removed), std::to_string(change.undoable)});
    }
}

void PrintRunsForPeople(const std::vector<recorder::RunRecord>& runs) {
    Table table({{"run", true},
                 {"start", false, 3},
                 {"end", false, 7},
                 {"outcome", false, 4},
                 {"kind", false, 1},
                 {"added", true, 5},
                 {"removed", true, 2},
                 {"undoable", true, 6}});
    for (const recorder::RunRecord& run : runs) {
        AddRows(table, run, runs);
    }
    PrintTable(table);
}

Json JsonOf(const recorder::RunRecord& run) {
    Json json;
    json["run"] = run.id;
    json["identity"] = recorder::IdentityText(run);
    json["start"] = run.isOnRecord ? JsonTime(run.startTm) : Json();
    json["end"] = run.endTm ? JsonTime(*run.endTm) : Json();
    json["failures"] = run.failures;
    json["refusals"] = run.refusals;
    json["changes"] = Json::array();
    for (const recorder::RunChange& change : run.changes) {
        json["changes"].push_back({{"kind", KindKey(change.kind)},
                                   {"added", change.added},
                                   {"removed", change.removed},
                                   {"undoable", change.undoable}});
    }
    return json;
}

// Keeps the runs that began at this moment or later. The start of a run whose record was lost is
// unknown: it is kept if its number is higher than that of an older run that is kept.
void KeepSince(long sinceTm, std::vector<recorder::RunRecord>& runs) {
    const auto isSince = [&](const recorder::RunRecord& run) {
        return run.isOnRecord && run.startTm >= sinceTm;
    };
    const auto oldest = std::find_if(runs.rbegin(), runs.rend(), isSince);
    runs.erase(oldest.base(), runs.end());
    std::erase_if(runs,
                  [&](const recorder::RunRecord& run) { return run.isOnRecord && !isSince(run); });
}

std::vector<recorder::RunRecord> SelectedRuns(const RunsOptions& options) {
    std::vector<recorder::RunRecord> runs = recorder::ListRuns();
    if (options.since) {
        KeepSince(ParseMoment(*options.since, Bound::Since, std::time(nullptr)), runs);
    }
    if (options.limit && runs.size() > static_cast<std::size_t>(*options.limit)) {
        runs.resize(static_cast<std::size_t>(*options.limit));
    }
    return runs;
}

void PrintRuns(const RunsOptions& options) {
    const std::vector<recorder::RunRecord> runs = SelectedRuns(options);
    if (!options.asJson) {
        PrintRunsForPeople(runs);
        return;
    }
    Json json;
    json["runs"] = Json::array();
    for (const recorder::RunRecord& run : runs) {
        json["runs"].push_back(JsonOf(run));
    }
    PrintJson("runs", json);
}

} // namespace

void AddRunsCommand(CLI::App& app) {
    const auto options = std::make_shared<RunsOptions>();
    CLI::App* const runs =
        app.add_subcommand("runs", "list the runs and the rows that they added and removed");
    runs->add_option("--limit", options->limit, "only this many runs, the newest")
        ->type_name("N")
        ->check(PositiveInteger(LONG_MAX));
    runs->add_option("--since", options->since,
                     "only runs that began since then: 30d, 12h, 2026-11-01, RFC 3339")
        ->type_name("TIME")
        ->check(MomentOption(Bound::Since));
    runs->add_flag("--json", options->asJson, "print JSON");
    runs->callback([options] { PrintRuns(*options); });
}
