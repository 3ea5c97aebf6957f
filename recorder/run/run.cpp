#include "recorder/run/run.h"

#include "recorder/database/quote.h"
#include "recorder/logging/failures.h"
#include "recorder/run/live.h"
#include "recorder/settings/settings.h"
#include "recorder/support/edge.h"
#include "recorder/utility/format.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <optional>

#include <unistd.h>

namespace recorder {

namespace {

using Clock = std::chrono::steady_clock;

constexpr long kSecondsPerDay = 86400;
constexpr long kFilesBetweenLooks = 256; // at the clock
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

struct Run {
    bool hasParts = false; // it is one that the tool began and will end
    long id = 0;           // 0 = it hasn't begun
    long startTm = 0;
    double progress = 0.0;
    std::optional<Part> part;
    int partsOver = 0;
    long files = 0; // of the parts that are over
    long refusals = 0;
    long failuresBefore = 0;
    Clock::time_point published;
};

Run& ThisRun() {
    static Run run;
    return run;
}

void Begin(long startTm, bool waitForLock) {
    const DBResult_tag rows = Execute(
        KRDB::DB_SYSTEM,
        Format("INSERT INTO run (pid, start_tm) VALUES (%d, %ld) RETURNING id;", getpid(), startTm),
        {.waitForLock = waitForLock});
    Run& run = ThisRun();
    run = Run();
    run.id = std::strtol(rows.Field(0, 0), nullptr, 10);
    run.startTm = startTm;
    run.failuresBefore = FailuresLogged();
}

void Publish() {
    Run& run = ThisRun();
    LiveRun live;
    live.run = run.id;
    live.pid = getpid();
    live.startTm = run.startTm;
    live.progress = run.progress;
    live.files = run.files;
    live.failures = FailuresLogged() - run.failuresBefore;
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

std::string PartSql(const Run& run, const Part& part) {
    const auto durationMs =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - part.start).count();
    return Format(
        "INSERT INTO run_part (run, part, kind, camera_id, duration_ms, files, known, failures, "
        "refusals, refusal) VALUES (%ld, %d, %s, %d, %ld, %ld, %ld, %ld, %ld, %s);",
        run.id, run.partsOver, Quote(part.kind).c_str(), part.camId, static_cast<long>(durationMs),
        part.files, part.known, FailuresLogged() - part.failuresBefore, part.refusals,
        Quote(part.refusal).c_str());
}

// What puts the part on record that goes on, as it is over now; empty when there is none.
std::string EndPartSql() {
    Run& run = ThisRun();
    if (!run.part) {
        return {};
    }
    ++run.partsOver;
    run.files += run.part->files;
    std::string sql = PartSql(run, *run.part);
    run.part.reset();
    return sql;
}

void EndPart() {
    const std::string sql = EndPartSql();
    if (!sql.empty()) {
        AtEdge([&] { Execute(KRDB::DB_SYSTEM, sql); });
    }
}

// Of the runs, which stay, only those are looked at that can have parts.
std::string ForgetPartsSql(long oldestTm) {
    return Format("DELETE FROM run_part WHERE run IN (SELECT id FROM run WHERE start_tm < %ld "
                  "AND id >= (SELECT min(run) FROM run_part));",
                  oldestTm);
}

} // namespace

void BeginRun(long startTm) {
    Begin(startTm, true);
    ThisRun().hasParts = true;
    Publish();
}

long CurrentRun(bool waitForLock) {
    if (ThisRun().id == 0) {
        Begin(std::time(nullptr), waitForLock);
    }
    return ThisRun().id;
}

DBResult_tag ExecuteInRun(KRDB::DB_INSTANCE instance, const std::string& sql,
                          const ExecuteOptions& options) {
    if (options.readOnly) {
        return Execute(instance, sql, options);
    }
    ExecuteOptions counted = options;
    if (ThisRun().part) {
        counted.camId = ThisRun().part->camId;
        Publish(); // it may have to wait for other writers
    }
    return ExecuteFor(CurrentRun(options.waitForLock), instance, sql, counted);
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
    ++run.failuresBefore;
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
    if (run.part->files % kFilesBetweenLooks == 0 && Clock::now() - run.published > kPublishEvery) {
        Publish();
    }
}

void EndRun() {
    const std::string lastPart = EndPartSql();
    Publish();
    const long now = std::time(nullptr);
    const long oldestTm = now - GetSettings().ledger.keepDays * kSecondsPerDay;
    const Run& run = ThisRun();
    Execute(
        KRDB::DB_SYSTEM,
        lastPart +
            Format("UPDATE run SET end_tm = %ld, failures = %ld, refusals = %ld WHERE id = %ld;",
                   now, FailuresLogged() - run.failuresBefore, run.refusals, CurrentRun()) +
            ForgetPartsSql(oldestTm));
    ForgetRemovedBefore(oldestTm);
    ThisRun() = Run();
}

} // namespace recorder
