#include "tools/ledgercommands.h"

#include "recorder/database/mediatable.h"
#include "recorder/ledger/undo.h"
#include "recorder/run/runlist.h"
#include "tools/json.h"
#include "tools/runview.h"
#include "tools/table.h"
#include "tools/words.h"

#include <climits>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

void AddRows(Table& table, const recorder::RunRecord& run) {
    const std::string id = std::to_string(run.id);
    const std::string start = TimeText(run.startTm);
    const std::string end = run.endTm ? TimeText(*run.endTm) : "not ended";
    const std::string outcome = OutcomeText(run);
    if (run.changes.empty()) {
        table.AddRow({id, start, end, outcome, "-", "0", "0", "0"});
    }
    for (const recorder::RunChange& change : run.changes) {
        table.AddRow({id, start, end, outcome, change.kind, std::to_string(change.added),
                      std::to_string(change.removed), std::to_string(change.undoable)});
    }
}

void PrintRunsForPeople(const std::vector<recorder::RunRecord>& runs) {
    Table table({{"run", true},
                 {"start"},
                 {"end"},
                 {"outcome"},
                 {"kind"},
                 {"added", true},
                 {"removed", true},
                 {"undoable", true}});
    for (const recorder::RunRecord& run : runs) {
        AddRows(table, run);
    }
    PrintTable(table);
}

Json JsonOf(const recorder::RunRecord& run) {
    Json json;
    json["run"] = run.id;
    json["start"] = TimeText(run.startTm);
    json["end"] = run.endTm ? Json(TimeText(*run.endTm)) : Json();
    json["failures"] = run.failures;
    json["refusals"] = run.refusals;
    json["changes"] = Json::array();
    for (const recorder::RunChange& change : run.changes) {
        json["changes"].push_back({{"kind", change.kind},
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
    PrintJson(json);
}

void PrintUndone(const recorder::UndoSelection& selection) {
    const std::vector<recorder::UndoneKind> undone = recorder::Undo(selection);
    if (undone.empty()) {
        std::printf("the ledger holds no such row of run %ld\n", selection.run);
    }
    for (const recorder::UndoneKind& kind : undone) {
        std::printf("%s: %ld put back", kind.kind.c_str(), kind.restored);
        if (kind.left > 0) {
            std::printf(", %ld left in the ledger as there are newer rows for their files",
                        kind.left);
        }
        std::putchar('\n');
    }
}

std::vector<std::string> Kinds() {
    std::vector<std::string> kinds;
    kinds.reserve(recorder::MediaTables().size());
    for (const recorder::MediaTable& table : recorder::MediaTables()) {
        kinds.push_back(table.name);
    }
    return kinds;
}

} // namespace

void AddLedgerCommands(CLI::App& app) {
    CLI::App* const runs =
        app.add_subcommand("runs", "the runs, newest first, and how many rows of each kind they "
                                   "added and removed");
    const auto asJson = std::make_shared<bool>(false);
    runs->add_flag("--json", *asJson, "print them as JSON");
    runs->callback([asJson] { PrintRuns(*asJson); });

    const auto selection = std::make_shared<recorder::UndoSelection>();
    CLI::App* const undo =
        app.add_subcommand("undo", "put back the rows that a run removed, never over newer rows");
    undo->add_option("RUN", selection->run, "its number, as \"krctl runs\" prints it")
        ->required()
        ->check(CLI::Range(1L, LONG_MAX));
    undo->add_option("--camera", selection->camId, "rows of this camera only")
        ->check(CLI::Range(1, INT_MAX));
    undo->add_option("--kind", selection->kind, "rows of this kind only")
        ->check(CLI::IsMember(Kinds()));
    undo->callback([selection] { PrintUndone(*selection); });
}
