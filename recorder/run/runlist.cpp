#include "recorder/run/runlist.h"

#include "recorder/database/databases.h"
#include "recorder/database/mediatable.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"

#include <algorithm>
#include <map>
#include <utility>

namespace recorder {

namespace {

// The key is the run's number and token.
using ChangesByRun = std::map<std::pair<long, long>, std::vector<RunChange>>;

// Adds the changes of the chosen runs to one table, with the number of rows in the ledger.
void AddChanges(const MediaTable& table, const std::string& chosen, ChangesByRun& changes) {
    const DBResult_tag rows =
        Execute(table.instance,
                "SELECT run, token, sum(added) AS added, sum(removed) AS removed, "
                "sum(changed) AS changed, "
                "(SELECT count(*) FROM removed WHERE removed.run = run_count.run "
                "AND removed.kind = '" +
                    table.name + "') AS undoable FROM run_count WHERE kind = '" + table.name + "'" +
                    chosen + " GROUP BY run, token;",
                {.readOnly = true});
    for (int row = 0; row < rows.RowCount(); ++row) {
        changes[{rows.Long(row, "run"), rows.Long(row, "token")}].push_back(
            {table.name, rows.Long(row, "added"), rows.Long(row, "removed"),
             rows.Long(row, "changed"), rows.Long(row, "undoable")});
    }
}

// Adds runs for the changes without a record. Such a record was lost with its database; a record
// with the same number belongs to another run.
void AddLostRuns(ChangesByRun& changes, std::vector<RunRecord>& runs) {
    for (auto& [identity, itsChanges] : changes) {
        RunRecord run;
        run.id = identity.first;
        run.token = identity.second;
        run.isOnRecord = false;
        run.changes = std::move(itsChanges);
        const auto older = std::find_if(runs.begin(), runs.end(),
                                        [&](const RunRecord& other) { return other.id < run.id; });
        runs.insert(older, std::move(run));
    }
}

std::vector<RunRecord> SelectRuns(const std::string& condition, const std::string& chosen) {
    ChangesByRun changes;
    for (const MediaTable& table : MediaTables()) {
        AddChanges(table, chosen, changes);
    }
    const DBResult_tag rows = Execute(
        KRDB::DB_SYSTEM,
        "SELECT id, is_fix, pid, start_tm, end_tm, failures, refusals, unlogged, token FROM run " +
            condition + " ORDER BY id DESC;",
        {.readOnly = true});
    std::vector<RunRecord> runs;
    for (int row = 0; row < rows.RowCount(); ++row) {
        RunRecord run;
        run.id = rows.Long(row, "id");
        run.isFix = rows.Int(row, "is_fix") != 0;
        run.pid = rows.Int(row, "pid");
        run.startTm = rows.Long(row, "start_tm");
        if (rows.TextIfAny(row, "end_tm")) {
            run.endTm = rows.Long(row, "end_tm");
        }
        run.failures = rows.Long(row, "failures");
        run.refusals = rows.Long(row, "refusals");
        run.unlogged = rows.Long(row, "unlogged");
        run.token = rows.Long(row, "token");
        const std::pair identity{run.id, run.token};
        run.changes = std::move(changes[identity]);
        changes.erase(identity);
        runs.push_back(std::move(run));
    }
    AddLostRuns(changes, runs);
    return runs;
}

std::vector<RunPart> RecordedParts(long id) {
    const DBResult_tag rows =
        Execute(KRDB::DB_SYSTEM,
                "SELECT kind, camera_id, duration_ms, files, known, failures, refusals, refusal "
                "FROM run_part WHERE run = " +
                    std::to_string(id) + " ORDER BY part;",
                {.readOnly = true});
    std::vector<RunPart> parts;
    parts.reserve(static_cast<std::size_t>(rows.RowCount()));
    for (int row = 0; row < rows.RowCount(); ++row) {
        parts.push_back({.kind = rows.Text(row, "kind"),
                         .camId = rows.Int(row, "camera_id"),
                         .durationMs = rows.Long(row, "duration_ms"),
                         .files = rows.Long(row, "files"),
                         .known = rows.Long(row, "known"),
                         .failures = rows.Long(row, "failures"),
                         .refusals = rows.Long(row, "refusals"),
                         .refusal = rows.Text(row, "refusal")});
    }
    return parts;
}

// The run with the highest number among those of the re-index tool that meet the condition.
std::optional<RunRecord> NewestOf(const std::string& condition) {
    const DBResult_tag newest =
        Execute(KRDB::DB_SYSTEM, "SELECT max(id) AS id FROM run WHERE is_fix = 0" + condition + ";",
                {.readOnly = true});
    std::vector<RunRecord> found = RunsOfNumber(newest.Long(0, "id"));
    const bool isFound = !found.empty() && found.front().isOnRecord;
    return isFound ? std::optional(std::move(found.front())) : std::nullopt;
}

// The part for the changes of a kind and camera. If a run has two parts for one camera, as with
// "-r 3 -r 3", all changes are shown in the first.
RunPart& PartOf(std::vector<RunPart>& parts, const std::string& kind, int camId) {
    const auto found = std::find_if(parts.begin(), parts.end(), [&](const RunPart& part) {
        return part.kind == kind && part.camId == camId;
    });
    if (found != parts.end()) {
        return *found;
    }
    RunPart& part = parts.emplace_back();
    part.kind = kind;
    part.camId = camId;
    return part;
}

[[noreturn]] void FailAsAmbiguous(const std::vector<RunRecord>& runs) {
    std::string identities;
    for (const RunRecord& run : runs) {
        identities += (identities.empty() ? "" : " or ") + IdentityText(run);
    }
    throw Error("there are " + std::to_string(runs.size()) + " runs " +
                std::to_string(runs.front().id) +
                ", and the record of each was lost; name one with --identity " + identities);
}

} // namespace

std::vector<RunRecord> ListRuns() {
    return SelectRuns("", "");
}

std::vector<RunRecord> RunsOfNumber(long id) {
    const std::string number = std::to_string(id);
    return SelectRuns("WHERE id = " + number, " AND run = " + number);
}

RunRecord RequireRun(long id, const std::optional<std::string>& identity) {
    std::vector<RunRecord> runs = RunsOfNumber(id);
    if (identity) {
        std::erase_if(runs, [&](const RunRecord& run) { return IdentityText(run) != *identity; });
    }
    if (runs.empty()) {
        throw NotFound("there is no run " + std::to_string(id) +
                       (identity ? " with the identity " + *identity : "") +
                       "; \"krctl runs\" lists them");
    }
    if (runs.size() > 1 && !runs.front().isOnRecord) {
        FailAsAmbiguous(runs);
    }
    return std::move(runs.front());
}

std::string IdentityText(const RunRecord& run) {
    return Format("%016lx", run.token);
}

long HighestRun() {
    return Execute(KRDB::DB_SYSTEM, "SELECT coalesce(max(id), 0) AS id FROM run;",
                   {.readOnly = true})
        .Long(0, "id");
}

std::optional<RunRecord> NewestRun() {
    return NewestOf("");
}

std::optional<RunRecord> NewestRunOf(int pid, long after) {
    return NewestOf(" AND pid = " + std::to_string(pid) + " AND id > " + std::to_string(after));
}

std::optional<RunRecord> NewestEndedRun() {
    return NewestOf(" AND end_tm IS NOT NULL");
}

std::vector<RunPart> PartsOfRun(long id) {
    std::vector<RunPart> parts = RecordedParts(id);
    const DBResult_tag record = Execute(
        KRDB::DB_SYSTEM, Format("SELECT token FROM run WHERE id = %ld;", id), {.readOnly = true});
    if (record.RowCount() == 0) {
        return parts;
    }
    for (const MediaTable& table : MediaTables()) {
        const DBResult_tag rows = Execute(
            table.instance,
            Format("SELECT CASE WHEN camera_id BETWEEN 1 AND 2147483647 THEN camera_id ELSE 0 END "
                   "AS camera_id, added, removed, changed FROM run_count WHERE run = %ld AND token "
                   "= %ld "
                   "AND kind = '%s' ORDER BY camera_id;",
                   id, record.Long(0, "token"), table.name.c_str()),
            {.readOnly = true});
        for (int row = 0; row < rows.RowCount(); ++row) {
            RunPart& part = PartOf(parts, table.name, rows.Int(row, "camera_id"));
            part.added += rows.Long(row, "added");
            part.removed += rows.Long(row, "removed");
            part.changed += rows.Long(row, "changed");
        }
    }
    return parts;
}

RunTotals TotalsOfRun(long id) {
    RunTotals totals;
    for (const RunPart& part : PartsOfRun(id)) {
        totals.added += part.added;
        totals.removed += part.removed;
        totals.changed += part.changed;
    }
    return totals;
}

} // namespace recorder
