#include "tools/ledgercommands.h"

#include "recorder/database/mediatable.h"
#include "recorder/ledger/undo.h"
#include "recorder/run/runlist.h"

#include <array>
#include <climits>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

// As in the log, without milliseconds.
std::string TimeText(long timeTm) {
    const std::time_t seconds = timeTm;
    struct tm local = {};
    std::array<char, 64> text{};
    localtime_r(&seconds, &local);
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &local)};
}

void PrintRun(const recorder::RunRecord& run) {
    const std::string times = TimeText(run.startTm) + '\t' +
                              (run.endTm ? TimeText(*run.endTm) : std::string("not ended"));
    if (run.changes.empty()) {
        std::printf("%ld\t%s\t-\t0\t0\t0\n", run.id, times.c_str());
    }
    for (const recorder::RunChange& change : run.changes) {
        std::printf("%ld\t%s\t%s\t%ld\t%ld\t%ld\n", run.id, times.c_str(), change.kind.c_str(),
                    change.added, change.removed, change.undoable);
    }
}

void PrintRuns() {
    std::puts("run\tstart\tend\tkind\tadded\tremoved\tundoable");
    for (const recorder::RunRecord& run : recorder::ListRuns()) {
        PrintRun(run);
    }
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
    app.add_subcommand("runs", "the runs, newest first, and how many rows of each kind they added "
                               "and removed")
        ->callback(PrintRuns);

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
