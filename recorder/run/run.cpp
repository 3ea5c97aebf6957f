#include "recorder/run/run.h"

#include "recorder/database/age.h"
#include "recorder/database/expiry.h"
#include "recorder/database/schema.h"
#include "recorder/database/sqltext.h"
#include "recorder/logging/failures.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/logging/logfile.h"
#include "recorder/run/live.h"
#include "recorder/run/runnumber.h"
#include "recorder/run/taps.h"
#include "recorder/settings/settings.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <set>
#include <vector>

#include <unistd.h>

namespace recorder {

namespace {

using Clock = std::chrono::steady_clock;

constexpr long kSecondsPerDay = 86400;
constexpr long kFilesBetweenClockReads = 256; // at the clock
constexpr std::chrono::milliseconds kPublishEvery{200};

struct Part {
    std::string kind;
    int camId = 0;
    Clock::time_point start = Clock::now();
    long files = 0;
    long known = 0;
    long failuresBefore = FailuresLogged();
    long refusals = 0;
    std::string refusal;
};

struct EndedPart {
    Part part;
    int number = 0; // 1, 2, ... in the order of time
    long durationMs = 0;
    long failures = 0;
};

// What was logged before this run, by another run of this process.
struct Baseline {
    long failures = 0;
    long linesNotLogged = 0;
};

struct Run {
    bool hasBegun = false;
    bool hasParts = false; // it is one that the tool began and will end
    long number = 0;       // 0 = it isn't on record
    long token = 0;        // its identity, with the number
    long startTm = 0;
    long endTm = 0; // 0 = it hasn't ended
    double progress = 0.0;
    std::optional<Part> part;
    std::vector<EndedPart> unrecorded; // parts that are not on record yet
    int partsOver = 0;
    long files = 0; // of the parts that are over
    long refusals = 0;
    long refused = 0;                    // failures logged that were refusals
    std::set<KRDB::DB_INSTANCE> changed; // databases that it may have changed
    std::optional<long> failuresOnRecord;
    Clock::time_point published;
};

Run& ThisRun() {
    static Run run;
    return run;
}

Baseline& BeforeThisRun() {
    static Baseline baseline;
    return baseline;
}

long LinesNotLoggedInRun() {
    return LinesNotLogged() - BeforeThisRun().linesNotLogged;
}

// A log that can't be written is one, however many lines it didn't take.
long FailuresOf(const Run& run) {
    return FailuresLogged() - BeforeThisRun().failures - run.refused +
           (LinesNotLoggedInRun() > 0 ? 1 : 0);
}

void Begin(long startTm) {
    Run& run = ThisRun();
    run = Run();
    run.hasBegun = true;
    run.startTm = startTm;
}

void Forget() {
    ThisRun() = Run();
    BeforeThisRun() = {FailuresLogged(), LinesNotLogged()};
}

void Publish() {
    Run& run = ThisRun();
    LiveRun live;
    live.run = run.number;
    live.pid = getpid();
    live.startTm = run.startTm;
    live.progress = run.progress;
    live.files = run.files;
    live.failures = FailuresOf(run);
    live.refusals = run.refusals;
    if (run.part) {
        live.kind = run.part->kind;
        live.camId = run.part->camId;
        live.known = run.part->known;
        live.partFiles = run.part->files;
        live.files += run.part->files;
    }
    PublishLiveRun(live);
    run.published = Clock::now();
}

std::string PartSql(long run, const EndedPart& ended) {
    const Part& part = ended.part;
    return Format(
        "INSERT INTO run_part (run, part, kind, camera_id, duration_ms, files, known, failures, "
        "refusals, refusal) VALUES (%ld, %d, %s, %d, %ld, %ld, %ld, %ld, %ld, %s);",
        run, ended.number, Quote(part.kind).c_str(), part.camId, ended.durationMs, part.files,
        part.known, ended.failures, part.refusals, Quote(part.refusal).c_str());
}

std::string UnrecordedPartsSql(const Run& run) {
    std::string sql;
    for (const EndedPart& ended : run.unrecorded) {
        sql += PartSql(run.number, ended);
    }
    return sql;
}

// The part in progress is over now.
void FinishPart() {
    Run& run = ThisRun();
    if (!run.part) {
        return;
    }
    EndedPart ended;
    ended.number = ++run.partsOver;
    ended.durationMs = static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - run.part->start)
            .count());
    ended.failures = FailuresLogged() - run.part->failuresBefore;
    ended.part = std::move(*run.part);
    run.files += ended.part.files;
    run.part.reset();
    run.unrecorded.push_back(std::move(ended));
}

void RecordParts() {
    Run& run = ThisRun();
    if (run.number != 0 && !run.unrecorded.empty()) {
        Execute(KRDB::DB_SYSTEM, UnrecordedPartsSql(run));
        run.unrecorded.clear();
    }
}

void EndPart() {
    FinishPart();
    LogExceptions(RecordParts);
}

// By the age of the ledger in the same database, as of what was removed. Of the runs, which stay,
// only those are looked at that can have parts.
std::string ForgetPartsSql(long keepS) {
    const std::string ofParts = "id >= (SELECT min(run) FROM run_part)";
    const std::string ageS = "(SELECT age_s FROM ledger_age)";
    return "UPDATE run SET age_s = " + ageS + " WHERE age_s > " + ageS + " AND " + ofParts + ";" +
           "DELETE FROM run_part WHERE run IN (SELECT id FROM run WHERE age_s <= " + ageS +
           Format(" - %ld AND ", keepS) + ofParts + ");";
}

void RecordEnd(long keepS) {
    Run& run = ThisRun();
    RecordRun();
    const long failures = FailuresOf(run);
    const DBResult_tag rows = Execute(
        KRDB::DB_SYSTEM,
        UnrecordedPartsSql(run) + BringAgeUpToDateSql(ReadMoment()) +
            Format("UPDATE run SET end_tm = %ld, failures = %ld, refusals = %ld, unlogged = %ld, "
                   "age_s = (SELECT age_s FROM ledger_age) WHERE id = %ld RETURNING id;",
                   run.endTm, failures, run.refusals, LinesNotLoggedInRun(), run.number) +
            ForgetPartsSql(keepS));
    if (rows.RowCount() != 1) {
        throw Error("the record of run " + std::to_string(run.number) + " is gone");
    }
    run.unrecorded.clear();
    run.failuresOnRecord = failures;
}

// What was done under a number stays under it.
void RequireNothingChanged(const Run& run) {
    if (!run.changed.empty()) {
        throw Error("an older run has the number " + std::to_string(run.number) +
                    ", too, as databases were restored: nothing is changed; the next run has "
                    "another number");
    }
}

// Before the run's first change of a database.
void PrepareToChange(KRDB::DB_INSTANCE instance) {
    Run& run = ThisRun();
    const KRDB::DB_INSTANCE database = InstancesBeside(instance).front();
    if (run.changed.contains(database)) {
        return;
    }
    if (HoldsRun(instance, run.number)) {
        RequireNothingChanged(run);
        run.number = RenumberRun(run.number);
        Publish();
    }
    if (run.changed.empty()) {
        SecureRunNumber(run.number);
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
    if (run.number == 0) {
        const RunIdentity identity = AddRunRecord(run.startTm, waitForLock);
        run.number = identity.number;
        run.token = identity.token;
        Publish();
    }
}

long RunNumber() {
    return ThisRun().number;
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
    ExecuteOptions counted = options;
    if (ThisRun().part) {
        counted.camId = ThisRun().part->camId;
        Publish(); // it may have to wait for other writers
    }
    RecordRun(options.waitForLock);
    PrepareToChange(instance);
    return ExecuteFor({ThisRun().number, ThisRun().token}, instance, sql, counted);
}

void BeginPart(const std::string& kind, int camId) {
    Run& run = ThisRun();
    if (!run.hasParts) {
        return;
    }
    if (run.part && run.part->kind.empty() && run.part->camId == camId) {
        run.part->kind = kind;
    } else {
        EndPart();
        run.part.emplace();
        run.part->kind = kind;
        run.part->camId = camId;
    }
    Publish();
}

void TurnToCamera(int camId) {
    if (!ThisRun().part || ThisRun().part->camId != camId) {
        BeginPart("", camId);
    }
}

void NoteKnownRows(long rows) {
    if (ThisRun().part) {
        ThisRun().part->known = rows;
        Publish();
    }
}

void NoteRefusal(const std::string& why) {
    Run& run = ThisRun();
    ++run.refusals;
    ++run.refused;
    if (run.part) {
        ++run.part->refusals;
        ++run.part->failuresBefore;
        run.part->refusal = run.part->refusal.empty() ? why : run.part->refusal;
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
    ++run.part->files;
    if (run.part->files % kFilesBetweenClockReads == 0 &&
        Clock::now() - run.published > kPublishEvery) {
        Publish();
    }
}

void EndRun() {
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
    const long keepDays = GetSettings().ledger.keepDays;
    // First, as its failure is the run's.
    LogExceptions([&] { ForgetExpired(keepDays); });
    RecordEnd(keepDays * kSecondsPerDay);
}

void CloseRun() {
    const Run& run = ThisRun();
    if (run.hasBegun && run.failuresOnRecord != FailuresOf(run)) {
        RecordEnd(GetSettings().ledger.keepDays * kSecondsPerDay);
    }
    Forget();
}

} // namespace recorder
