#include "recorder/ledger/run.h"

#include "recorder/settings/settings.h"
#include "recorder/utility/format.h"

#include <cstdlib>
#include <ctime>

#include <unistd.h>

namespace recorder {

namespace {

constexpr long kSecondsPerDay = 86400;

// 0 = it hasn't begun.
long& RunOfThisProcess() {
    static long run = 0;
    return run;
}

void Begin(long startTm, bool waitForLock) {
    const DBResult_tag rows = Execute(
        KRDB::DB_SYSTEM,
        Format("INSERT INTO run (pid, start_tm) VALUES (%d, %ld) RETURNING id;", getpid(), startTm),
        {.waitForLock = waitForLock});
    RunOfThisProcess() = std::strtol(rows.Field(0, 0), nullptr, 10);
}

} // namespace

void BeginRun(long startTm) {
    Begin(startTm, true);
}

long CurrentRun(bool waitForLock) {
    if (RunOfThisProcess() == 0) {
        Begin(std::time(nullptr), waitForLock);
    }
    return RunOfThisProcess();
}

DBResult_tag ExecuteInRun(KRDB::DB_INSTANCE instance, const std::string& sql,
                          const ExecuteOptions& options) {
    return options.readOnly ? Execute(instance, sql, options)
                            : ExecuteFor(CurrentRun(options.waitForLock), instance, sql, options);
}

void EndRun() {
    const long now = std::time(nullptr);
    Execute(KRDB::DB_SYSTEM,
            Format("UPDATE run SET end_tm = %ld WHERE id = %ld;", now, CurrentRun()));
    ForgetRemovedBefore(now - GetSettings().ledger.keepDays * kSecondsPerDay);
    RunOfThisProcess() = 0;
}

} // namespace recorder
