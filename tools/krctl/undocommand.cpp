#include "tools/krctl/commands.h"

#include "recorder/database/schema.h"
#include "recorder/ledger/undo.h"
#include "recorder/run/runlist.h"
#include "tools/common/exitstatus.h"
#include "tools/common/joboptions.h"
#include "tools/common/json.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/help.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct UndoOptions {
    recorder::UndoSelection selection;
    bool isDryRun = false;
    bool asJson = false;
};

// "row 17, 20140312AM/a.mp4 of camera 3"
std::string NameOf(const recorder::RowNotRestored& row) {
    return "row " + std::to_string(row.id) + (row.file.empty() ? "" : ", " + row.file) +
           (row.camId == 0 ? "" : " of camera " + std::to_string(row.camId));
}

void PrintUndoneKind(const recorder::UndoneKind& kind, bool isDryRun) {
    constexpr std::size_t kNamed = 20;
    const std::string name = KindText(kind.kind);
    std::printf("%s: %ld %srestored", name.c_str(), kind.restored, isDryRun ? "would be " : "");
    if (!kind.notRestored.empty()) {
        std::printf(", %zu not%s", kind.notRestored.size(), isDryRun ? "" : " restored");
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

// The reason why there was nothing to restore.
std::string NothingText(const recorder::UndoSelection& selection, const recorder::Undone& undone) {
    const std::string run = "run " + std::to_string(selection.run);
    const std::string rows = selection.media.IsAll() ? "rows" : "matching rows";
    if (undone.removed == 0) {
        return run + " removed no " + rows + ": nothing to restore";
    }
    return run + " removed " +
           Counted(undone.removed, selection.media.IsAll() ? "row" : "matching row") +
           ", but none is left to restore: restored before, or expired";
}

void PrintUndoneForPeople(const recorder::UndoSelection& selection, const recorder::Undone& undone,
                          bool isDryRun) {
    if (undone.kinds.empty() && undone.failures.empty()) {
        std::puts(NothingText(selection, undone).c_str());
    }
    for (const recorder::UndoneKind& kind : undone.kinds) {
        PrintUndoneKind(kind, isDryRun);
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

Json JsonOf(const UndoOptions& options, const recorder::Undone& undone,
            const std::vector<recorder::RunRecord>& others) {
    Json json;
    json["run"] = options.selection.run;
    json["dry_run"] = options.isDryRun;
    json["removed"] = undone.removed;
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

void Undo(const UndoOptions& options) {
    const auto& [selection, isDryRun, asJson] = options;
    if (isDryRun) {
        recorder::OpenDatabasesReadOnly();
    }
    // Read first, so that a failure here can't hide what was restored.
    const std::vector<recorder::RunRecord> others = recorder::OtherRuns(selection);
    const recorder::Undone undone =
        isDryRun ? recorder::PlanUndo(selection) : recorder::Undo(selection);
    if (asJson) {
        PrintJson("undo", JsonOf(options, undone, others));
    } else {
        PrintUndoneForPeople(selection, undone, isDryRun);
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

void AddUndoCommand(CLI::App& app) {
    const auto options = std::make_shared<UndoOptions>();
    recorder::UndoSelection& selection = options->selection;
    CLI::App* const undo =
        app.add_subcommand("undo", "restore rows that a run removed or a fix changed");
    undo->add_option("RUN", selection.run, "the run's number, as listed by \"krctl runs\"")
        ->required()
        ->check(PositiveInteger(LONG_MAX));
    undo->add_option("--identity", selection.identity,
                     "the run's identity, if several runs have this number")
        ->type_name("IDENTITY");
    AddMediaOptions(*undo, selection.media);
    undo->add_flag("--dry-run", options->isDryRun, "show what would be restored; changes nothing");
    undo->add_flag("--json", options->asJson, "print JSON");
    undo->callback([options] { Undo(*options); });
}
