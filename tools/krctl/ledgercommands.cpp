#include "tools/krctl/commands.h"

#include "recorder/ledger/undo.h"
#include "recorder/run/runlist.h"
#include "tools/common/exitstatus.h"
#include "tools/common/joboptions.h"
#include "tools/common/json.h"
#include "tools/common/table.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/help.h"
#include "tools/krctl/run/runview.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

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

void PrintRuns(bool asJson) {
    const std::vector<recorder::RunRecord> runs = recorder::ListRuns();
    if (!asJson) {
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

// "row 17, 20140312AM/a.mp4 of camera 3"
std::string NameOf(const recorder::RowNotRestored& row) {
    return "row " + std::to_string(row.id) + (row.file.empty() ? "" : ", " + row.file) +
           (row.camId == 0 ? "" : " of camera " + std::to_string(row.camId));
}

void PrintUndoneKind(const recorder::UndoneKind& kind) {
    constexpr std::size_t kNamed = 20;
    const std::string name = KindText(kind.kind);
    std::printf("%s: %ld restored", name.c_str(), kind.restored);
    if (!kind.notRestored.empty()) {
        std::printf(", %zu not restored", kind.notRestored.size());
    }
    std::putchar('\n');
    for (std::size_t i = 0; i < std::min(kind.notRestored.size(), kNamed); ++i) {
        const recorder::RowNotRestored& row = kind.notRestored[i];
        std::printf("not restored: %s\n",
                    Printable(name + ": " + NameOf(row) + ": " + row.why).c_str());
    }
    if (kind.notRestored.size() > kNamed) {
        std::printf("not restored: %zu more of %s; \"krctl undo --json\" lists all\n",
                    kind.notRestored.size() - kNamed, name.c_str());
    }
}

long Undoable(const recorder::RunRecord& run) {
    long rows = 0;
    for (const recorder::RunChange& change : run.changes) {
        rows += change.undoable;
    }
    return rows;
}

void PrintOtherRuns(const std::vector<recorder::RunRecord>& others) {
    for (const recorder::RunRecord& other : others) {
        std::printf("not restored: %s of another run %ld, whose record was lost; to restore them: "
                    "krctl undo %ld --identity %s\n",
                    Counted(Undoable(other), "row").c_str(), other.id, other.id,
                    recorder::IdentityText(other).c_str());
    }
}

void PrintUndoneForPeople(long run, const recorder::Undone& undone) {
    if (undone.kinds.empty() && undone.failures.empty()) {
        std::printf("no matching rows of run %ld to restore\n", run);
    }
    for (const recorder::UndoneKind& kind : undone.kinds) {
        PrintUndoneKind(kind);
    }
}

Json JsonOf(const recorder::RowNotRestored& row) {
    Json json;
    json["row"] = row.id;
    json["camera"] = row.camId == 0 ? Json() : Json(row.camId);
    json["file"] = row.file.empty() ? Json() : JsonText(row.file);
    json["reason"] = row.why;
    return json;
}

Json JsonOf(long run, const recorder::Undone& undone,
            const std::vector<recorder::RunRecord>& others) {
    Json json;
    json["run"] = run;
    json["kinds"] = Json::array();
    for (const recorder::UndoneKind& kind : undone.kinds) {
        Json rows = Json::array();
        for (const recorder::RowNotRestored& row : kind.notRestored) {
            rows.push_back(JsonOf(row));
        }
        json["kinds"].push_back(
            {{"kind", KindKey(kind.kind)}, {"restored", kind.restored}, {"not_restored", rows}});
    }
    json["failures"] = Json::array();
    for (const std::string& failure : undone.failures) {
        json["failures"].push_back(JsonText(failure));
    }
    json["other_runs"] = Json::array();
    for (const recorder::RunRecord& other : others) {
        json["other_runs"].push_back(
            {{"identity", recorder::IdentityText(other)}, {"undoable", Undoable(other)}});
    }
    return json;
}

bool IsComplete(const recorder::Undone& undone) {
    return undone.failures.empty() &&
           std::all_of(undone.kinds.begin(), undone.kinds.end(),
                       [](const auto& kind) { return kind.notRestored.empty(); });
}

void Undo(const recorder::UndoSelection& selection, bool asJson) {
    // Read first, so that a failure here can't hide what was restored.
    const std::vector<recorder::RunRecord> others = recorder::OtherRuns(selection);
    const recorder::Undone undone = recorder::Undo(selection);
    if (asJson) {
        PrintJson("undo", JsonOf(selection.run, undone, others));
    } else {
        PrintUndoneForPeople(selection.run, undone);
        PrintOtherRuns(others);
    }
    std::fflush(stdout);
    for (const std::string& failure : undone.failures) {
        std::fprintf(stderr, "krctl: %s\n", Printable(failure).c_str());
    }
    if (!IsComplete(undone)) {
        throw CLI::RuntimeError(kExitFailed);
    }
}

} // namespace

void AddLedgerCommands(CLI::App& app) {
    CLI::App* const runs =
        app.add_subcommand("runs", "list the runs and the rows that they added and removed");
    const auto asJson = std::make_shared<bool>(false);
    runs->add_flag("--json", *asJson, "print JSON");
    runs->callback([asJson] { PrintRuns(*asJson); });

    const auto selection = std::make_shared<recorder::UndoSelection>();
    CLI::App* const undo = app.add_subcommand("undo", "restore rows that a run removed");
    undo->add_option("RUN", selection->run, "the run's number, as listed by \"krctl runs\"")
        ->required()
        ->check(PositiveInteger(LONG_MAX));
    undo->add_option("--identity", selection->identity,
                     "the run's identity, if several runs have this number")
        ->type_name("IDENTITY");
    AddMediaOptions(*undo, selection->media);
    const auto undoneAsJson = std::make_shared<bool>(false);
    undo->add_flag("--json", *undoneAsJson, "print JSON");
    undo->callback([selection, undoneAsJson] { Undo(*selection, *undoneAsJson); });
}
