#include "recorder/run/run.h"

#include "recorder/ahead/ahead.h"
#include "recorder/database/age.h"
#include "recorder/database/expiry.h"
#include "recorder/database/schema.h"
#include "recorder/database/sqltext.h"
#include "recorder/logging/failures.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/logging/logfile.h"
#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "recorder/run/runnumber.h"
#include "recorder/run/runrows.h"
#include "recorder/run/taps.h"
#include "recorder/run/unreadablefiles.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"

#include <chrono>
#include <ctime>
#include <optional>
#include <set>
#include <vector>

#include <unistd.h>

namespace recorder {

namespace {

using Clock = std::chrono::steady_clock;

constexpr long kSecondsPerDay = 86400;
constexpr long kFilesBetweenClockReads = 256;
constexpr std::chrono::milliseconds kPublishEvery{200};

struct Part {
    RunPart record;
    Clock::time_point start = Clock::now();
    long failuresBefore = FailuresLogged();
    bool hasLoadedRows = false; // the database of its rows could be read
};

// The counts before this run, which include those of earlier runs of this process.
struct Baseline {
    long failures = 0;
    long linesNotLogged = 0;
};

struct Run {
    Baseline before;
    bool hasBegun = false;
    bool hasParts = false; // true: begun by the tool, which also ends it
    RunIdentity identity;  // number 0: the run is not recorded
    long startTm = 0;
    long endTm = 0; // 0 = the run has not ended
    double progress = 0.0;
    std::optional<Part> part;        // the current one
    std::vector<RunPart> unrecorded; // ended parts that are not recorded yet
    std::vector<RunPart> finished;   // all ended parts
    UnreadableFiles unreadable;
    int endedParts = 0;
    long files = 0;                      // in the ended parts
    long refusals = 0;                   // each of them is logged, but is not one of the failures
    std::set<KRDB::DB_INSTANCE> changed; // databases that the run may have changed
    std::optional<long> recordedFailures;
    Clock::time_point published;
};

Run& ThisRun() {
    static Run run;
    return run;
}

long LinesNotLoggedIn(const Run& run) {
    return LinesNotLogged() - run.before.linesNotLogged;
}

// A log that can't be written counts as one failure, however many lines it did not take.
long FailuresOf(const Run& run) {
    return FailuresLogged() - run.before.failures - run.refusals +
           (LinesNotLoggedIn(run) > 0 ? 1 : 0);
}

void Reset(Baseline before) {
    ThisRun() = Run();
    ThisRun().before = before;
}

void Begin(long startTm) {
    Reset(ThisRun().before);
    ThisRun().hasBegun = true;
    ThisRun().startTm = startTm;
}

void Publish() {
    Run& run = ThisRun();
    LiveRun live;
    live.run = run.identity.number;
    live.pid = getpid();
    live.startTm = run.startTm;
    live.progress = run.progress;
    live.files = run.files;
    live.failures = FailuresOf(run);
    live.refusals = run.refusals;
    live.ahead = FilesPreparedAtOnce();
    if (run.part) {
        const RunPart& part = run.part->record;
        live.kind = part.kind;
        live.camId = part.camId;
        live.known = part.known;
        live.partFiles = part.files;
        live.files += part.files;
    }
    PublishLiveRun(live);
    run.published = Clock::now();
}

std::string UnrecordedPartsSql(const Run& run) {
    std::string sql;
    long number = run.endedParts - static_cast<long>(run.unrecorded.size());
    for (const RunPart& part : run.unrecorded) {
        sql += Format(
            "INSERT INTO run_part (run, part, kind, camera_id, duration_ms, files, known, "
            "failures, refusals, refusal) VALUES (%ld, %ld, %s, %d, %ld, %ld, %ld, %ld, %ld, %s);",
            run.identity.number, ++number, Quote(part.kind).c_str(), part.camId, part.durationMs,
            part.files, part.known, part.failures, part.refusals, Quote(part.refusal).c_str());
    }
    return sql;
}

// Ends the current part without recording it.
void FinishPart() {
    Run& run = ThisRun();
    if (!run.part) {
        return;
    }
    RunPart& ended = run.unrecorded.emplace_back(std::move(run.part->record));
    ended.durationMs = static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - run.part->start)
            .count());
    ended.failures = FailuresLogged() - run.part->failuresBefore - ended.refusals;
    run.files += ended.files;
    run.finished.push_back(ended);
    run.unreadable.EndPart(ended, run.part->hasLoadedRows);
    ++run.endedParts;
    run.part.reset();
}

void RecordParts() {
    Run& run = ThisRun();
    if (run.identity.number != 0 && !run.unrecorded.empty()) {
        Execute(KRDB::DB_SYSTEM, UnrecordedPartsSql(run));
        run.unrecorded.clear();
    }
}

// A failure is logged, and so is one of the run's.
void RecordUnreadable() {
    Run& run = ThisRun();
    if (run.identity.number != 0) {
        LogExceptions([&] { run.unreadable.Record(run.identity.number); });
    }
}

void EndPart() {
    FinishPart();
    LogExceptions(RecordParts);
    RecordUnreadable();
}

// Deletes old parts by the age of the ledger in the same database, like removed rows. Runs are not
// deleted; the statements examine only those that can have parts.
std::string ForgetPartsSql(long keepS) {
    const std::string ofParts = "id >= (SELECT min(run) FROM run_part)";
    const std::string ageS = "(SELECT age_s FROM ledger_age)";
    return "UPDATE run SET age_s = " + ageS + " WHERE age_s > " + ageS + " AND " + ofParts + ";" +
           "DELETE FROM run_part WHERE run IN (SELECT id FROM run WHERE age_s <= " + ageS +
           Format(" - %ld AND ", keepS) + ofParts + ");";
}

void RecordEnd() {
    Run& run = ThisRun();
    RecordRun();
    const long failures = FailuresOf(run);
    const DBResult_tag rows = Execute(
        KRDB::DB_SYSTEM,
        UnrecordedPartsSql(run) + BringAgeUpToDateSql(ReadMoment()) +
            Format("UPDATE run SET end_tm = %ld, failures = %ld, refusals = %ld, unlogged = %ld, "
                   "age_s = (SELECT age_s FROM ledger_age) WHERE id = %ld RETURNING id;",
                   run.endTm, failures, run.refusals, LinesNotLoggedIn(run), run.identity.number) +
            ForgetPartsSql(GetSettings().ledger.keepDays * kSecondsPerDay));
    if (rows.RowCount() != 1) {
        throw Error("the record of run " + std::to_string(run.identity.number) + " is missing");
    }
    run.unrecorded.clear();
    run.recordedFailures = failures;
}

// Changes that were made under a number can't be assigned to another one.
void RequireNothingChanged(const Run& run) {
    if (!run.changed.empty()) {
        throw Error("an older run in a restored database has the number " +
                    std::to_string(run.identity.number) +
                    ", too: nothing was changed; the next run will have another number");
    }
}

// Must be called before the run changes a database.
void PrepareToChange(KRDB::DB_INSTANCE instance) {
    Run& run = ThisRun();
    const KRDB::DB_INSTANCE database = InstancesBeside(instance).front();
    if (run.changed.contains(database)) {
        return;
    }
    if (HoldsRun(instance, run.identity.number)) {
        RequireNothingChanged(run);
        run.identity.number = RenumberRun(run.identity.number);
        Publish();
    }
    if (run.changed.empty()) {
        SecureRunNumber(run.identity.number);
    }
    run.changed.insert(database);
}

} // namespace

void BeginRun(long startTm) {
    Begin(startTm);
    ThisRun().hasParts = true;
    Publish();
}

void RecordRun(bool waitForLock) {
    Run& run = ThisRun();
    if (run.identity.number == 0) {
        run.identity = AddRunRecord(RunPurpose::ReIndex, run.startTm, waitForLock);
        Publish();
    }
}

long RunNumber() {
    return ThisRun().identity.number;
}

DBResult_tag ExecuteInRun(KRDB::DB_INSTANCE instance, const std::string& sql,
                          const ExecuteOptions& options) {
    if (options.readOnly) {
        return Execute(instance, sql, options);
    }
    RequireLog();
    if (!ThisRun().hasBegun) {
        Begin(std::time(nullptr));
    }
    if (ThisRun().part) {
        Publish(); // before waiting for other writers
    }
    RecordRun(options.waitForLock);
    PrepareToChange(instance);
    RecordUnreadable();
    return ExecuteFor(ThisRun().identity, instance, sql, options);
}

void BeginPart(const std::string& kind, int camId) {
    Run& run = ThisRun();
    if (!run.hasParts) {
        return;
    }
    if (run.part && run.part->record.kind.empty() && run.part->record.camId == camId) {
        run.part->record.kind = kind;
    } else {
        EndPart();
        run.part.emplace();
        run.part->record.kind = kind;
        run.part->record.camId = camId;
    }
    Publish();
}

void TurnToCamera(int camId) {
    if (!ThisRun().part || ThisRun().part->record.camId != camId) {
        BeginPart("", camId);
    }
}

void NoteKnownRows(long rows) {
    if (ThisRun().part) {
        ThisRun().part->record.known = rows;
        ThisRun().part->hasLoadedRows = true;
        Publish();
    }
}

long KnownRows(const std::string& kind, const std::string& camera) {
    const std::optional<Part>& part = ThisRun().part;
    const bool isThis = part && part->record.kind == kind &&
                        (camera.empty() || camera == std::to_string(part->record.camId));
    return isThis ? part->record.known : 0;
}

void NoteRefusal(const std::string& why) {
    ++ThisRun().refusals;
    if (ThisRun().part) {
        RunPart& part = ThisRun().part->record;
        ++part.refusals;
        part.refusal = part.refusal.empty() ? why : part.refusal;
    }
}

void NoteUnreadable(const std::string& path, const std::string& why, Unreadable what) {
    if (ThisRun().part) {
        ThisRun().unreadable.Note(ThisRun().part->record, path, why, what);
    }
}

void NoteListed(const std::string& folder) {
    if (ThisRun().part) {
        ThisRun().unreadable.NoteListed(folder);
    }
}

void NoteProgress(double progress) {
    ThisRun().progress = progress;
    if (ThisRun().hasParts) {
        Publish();
    }
}

void CountFile(int /*folder*/) {
    Run& run = ThisRun();
    if (!run.part) {
        return;
    }
    const long files = ++run.part->record.files;
    if (files % kFilesBetweenClockReads == 0 && Clock::now() - run.published > kPublishEvery) {
        Publish();
    }
}

void EndRun() {
    EndWorkAhead();
    Run& run = ThisRun();
    if (run.hasBegun) {
        FinishPart();
        run.endTm = std::time(nullptr);
        Publish();
    }
}

void RecordRunEnd() {
    if (!ThisRun().hasBegun) {
        return;
    }
    // Expires first, so that a failure of it counts as the run's.
    LogExceptions([] { ForgetExpired(GetSettings().ledger.keepDays); });
    LogExceptions(ForgetAddedRows);
    RecordRun();
    RecordUnreadable();
    LogExceptions([] { ThisRun().unreadable.ResolveRepaired(ThisRun().finished); });
    RecordEnd();
}

void CloseRun() {
    const Run& run = ThisRun();
    if (run.hasBegun && run.recordedFailures != FailuresOf(run)) {
        RecordEnd();
    }
    Reset({FailuresLogged(), LinesNotLogged()});
}

} // namespace recorder
