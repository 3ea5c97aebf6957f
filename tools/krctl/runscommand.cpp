#include "tools/krctl/commands.h"

#include "recorder/run/runlist.h"
#include "recorder/run/runrows.h"
#include "tools/common/jsonlist.h"
#include "tools/common/moment.h"
#include "tools/common/table.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/help.h"
#include "tools/krctl/run/runview.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <ctime>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct RunsOptions {
    std::optional<long> run; // its rows instead of the list
    std::optional<std::string> identity;
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
    if (run.isFix) {
        return run.endTm ? "fix" : "fix, unfinished";
    }
    const bool hasNoChanges = OutcomeOf(run) == RunOutcome::Complete && run.changes.empty();
    return hasNoChanges ? "no changes" : OutcomeText(run);
}

bool HasFix(const std::vector<recorder::RunRecord>& runs) {
    return std::any_of(runs.begin(), runs.end(),
                       [](const recorder::RunRecord& run) { return run.isFix; });
}

// The columns "added" to "undoable".
std::vector<std::string> CountsOf(const recorder::RunChange& change, bool withChanged) {
    std::vector<std::string> counts{std::to_string(change.added), std::to_string(change.removed)};
    if (withChanged) {
        counts.push_back(std::to_string(change.changed));
    }
    counts.push_back(std::to_string(change.undoable));
    return counts;
}

void AddRows(Table& table, const recorder::RunRecord& run,
             const std::vector<recorder::RunRecord>& runs) {
    const std::string start = run.isOnRecord ? TimeText(run.startTm) : "-";
    const std::string end = !run.isOnRecord ? "-" : run.endTm ? TimeText(*run.endTm) : "unfinished";
    const std::string outcome = run.isOnRecord ? ShortOutcomeText(run) : LostText(run, runs);
    std::vector<recorder::RunChange> changes = run.changes;
    if (changes.empty()) {
        changes.emplace_back();
    }
    for (const recorder::RunChange& change : changes) {
        std::vector<std::string> cells{std::to_string(run.id), start, end, outcome,
                                       change.kind.empty() ? "-" : KindText(change.kind)};
        const std::vector<std::string> counts = CountsOf(change, HasFix(runs));
        cells.insert(cells.end(), counts.begin(), counts.end());
        table.AddRow(cells);
    }
}

// Only fixes change rows, so the column for them is shown if there are any.
void PrintRunsForPeople(const std::vector<recorder::RunRecord>& runs) {
    std::vector<Table::Column> columns{
        {"run", true},      {"start", false, 3}, {"end", false, 7},    {"outcome", false, 4},
        {"kind", false, 1}, {"added", true, 5},  {"removed", true, 2}, {"undoable", true, 6}};
    if (HasFix(runs)) {
        columns.insert(columns.end() - 1, {"changed", true, 2});
    }
    Table table(columns);
    for (const recorder::RunRecord& run : runs) {
        AddRows(table, run, runs);
    }
    PrintTable(table);
}

Json JsonOfRun(const recorder::RunRecord& run) {
    Json json;
    json["run"] = run.id;
    json["identity"] = recorder::IdentityText(run);
    json["purpose"] = run.isFix ? "fix" : "run";
    json["start"] = run.isOnRecord ? JsonTime(run.startTm) : Json();
    json["end"] = run.endTm ? JsonTime(*run.endTm) : Json();
    json["failures"] = run.failures;
    json["refusals"] = run.refusals;
    json["changes"] = Json::array();
    for (const recorder::RunChange& change : run.changes) {
        json["changes"].push_back({{"kind", KindKey(change.kind)},
                                   {"added", change.added},
                                   {"removed", change.removed},
                                   {"changed", change.changed},
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
        json["runs"].push_back(JsonOfRun(run));
    }
    PrintJson("runs", json);
}

// Counts the rows that are printed, and prints each when it is read, because there may be millions.
class RowPrinter {
public:
    explicit RowPrinter(bool asJson) : m_asJson(asJson) {}

    void Print(const recorder::RunRow& row) {
        ++m_listed[row.change];
        if (!m_asJson) {
            std::puts(LineOf(row).c_str());
            return;
        }
        m_json.Add(JsonOf(row));
    }

    // Prints the run after its rows.
    void End(const recorder::RunRecord& run) {
        const long added = Unlisted(run, &recorder::RunChange::added, Change::Added);
        const long removed = Unlisted(run, &recorder::RunChange::removed, Change::Removed);
        const long changed = Unlisted(run, &recorder::RunChange::changed, Change::Changed);
        if (m_asJson) {
            Json rest;
            rest["run"] = JsonOfRun(run);
            rest["unlisted"] = {{"added", added}, {"removed", removed}, {"changed", changed}};
            m_json.End(rest);
            return;
        }
        PrintUnlisted(added, "added", "removed by another program, or expired");
        PrintUnlisted(removed, "removed", "restored, or expired");
        PrintUnlisted(changed, "changed", "restored, or expired");
        PrintRunsForPeople({run});
    }

private:
    using Change = recorder::RunRow::Change;

    static const char* NameOf(Change change) {
        switch (change) {
        case Change::Added:
            return "added";
        case Change::Removed:
            return "removed";
        case Change::Changed:
            break;
        }
        return "changed";
    }

    static std::string LineOf(const recorder::RunRow& row) {
        return std::string(NameOf(row.change)) + '\t' + KindKey(row.kind) + '\t' +
               (row.camId == 0 ? "-" : std::to_string(row.camId)) + '\t' + std::to_string(row.id) +
               '\t' + (row.file.empty() ? "-" : Printable(row.file)) +
               (row.removedBy == 0 ? "" : "\tremoved by run " + std::to_string(row.removedBy));
    }

    static Json JsonOf(const recorder::RunRow& row) {
        return {{"change", NameOf(row.change)},
                {"kind", KindKey(row.kind)},
                {"camera", row.camId == 0 ? Json() : Json(row.camId)},
                {"row", row.id},
                {"file", row.file.empty() ? Json() : JsonText(row.file)},
                {"removed_by", row.removedBy == 0 ? Json() : Json(row.removedBy)}};
    }

    // The rows that the run changed in this way and that were not printed.
    long Unlisted(const recorder::RunRecord& run, long recorder::RunChange::*count, Change kind) {
        long total = 0;
        for (const recorder::RunChange& change : run.changes) {
            total += change.*count;
        }
        return total - m_listed[kind];
    }

    static void PrintUnlisted(long rows, const char* change, const char* why) {
        if (rows > 0) {
            std::printf("not listed: %s %s by the run: %s\n", Counted(rows, "row").c_str(), change,
                        why);
        }
    }

    bool m_asJson;
    JsonList m_json{"runrows", "rows"};
    std::map<Change, long> m_listed;
};

void PrintRowsOfRun(const RunsOptions& options) {
    const recorder::RunRecord run = recorder::RequireRun(*options.run, options.identity);
    RowPrinter rows(options.asJson);
    recorder::ListRowsOfRun(run, [&](const recorder::RunRow& row) { rows.Print(row); });
    rows.End(run);
}

} // namespace

void AddRunsCommand(CLI::App& app) {
    const auto options = std::make_shared<RunsOptions>();
    CLI::App* const runs =
        app.add_subcommand("runs", "list the runs and the rows that they added and removed");
    CLI::Option* const run =
        runs->add_option("RUN", options->run, "a run's number, to list each row of that run")
            ->check(PositiveInteger(LONG_MAX));
    runs->add_option("--identity", options->identity,
                     "the run's identity, if several runs have this number")
        ->type_name("IDENTITY")
        ->needs(run);
    runs->add_option("--limit", options->limit, "only this many runs, the newest")
        ->type_name("N")
        ->check(PositiveInteger(LONG_MAX))
        ->excludes(run);
    runs->add_option("--since", options->since,
                     "only runs that began since then: 30d, 12h, 2026-11-01, RFC 3339")
        ->type_name("TIME")
        ->check(MomentOption(Bound::Since))
        ->excludes(run);
    runs->add_flag("--json", options->asJson, "print JSON");
    runs->callback([options] { options->run ? PrintRowsOfRun(*options) : PrintRuns(*options); });
}
