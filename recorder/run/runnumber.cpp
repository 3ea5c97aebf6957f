#include "recorder/run/runnumber.h"

#include "recorder/database/age.h"
#include "recorder/database/databases.h"
#include "recorder/database/idmarks.h"
#include "recorder/database/readonlydatabase.h"
#include "recorder/database/schema.h"
#include "recorder/logging/logexceptions.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"

#include <algorithm>
#include <limits>
#include <string>

#include <sys/random.h>
#include <unistd.h>

namespace recorder {

namespace {

long HighestRunIn(KRDB::DB_INSTANCE instance) {
    const std::string sql = HighestRunSql(instance);
    const DBResult_tag rows = instance == KRDB::DB_SYSTEM
                                  ? Execute(instance, sql, {.readOnly = true})
                                  : ReadOnlyDatabase(DatabasePath(instance), 0).Execute(sql, {});
    return rows.Long(0, "highest");
}

// The run may not need all databases, so none of them is waited for or kept open. A database that
// can't be read is skipped: HoldsRun checks it before the run changes it.
long HighestRunInAll() {
    long highest = 0;
    for (const KRDB::DB_INSTANCE instance :
         {KRDB::DB_SYSTEM, KRDB::DB_RECORDING, KRDB::DB_SNAPSHOT}) {
        if (InstancesBeside(instance).front() != instance) {
            continue; // it is in the same database as an earlier instance
        }
        try {
            highest = std::max(highest, HighestRunIn(instance));
        } catch (const Error&) {
            continue;
        }
    }
    return highest;
}

// The stored number may have been restored from a copy, so the databases are always read as well.
long HighestRunEver() {
    return std::max(HighestNotedId(IdKind::Run).value_or(0), HighestRunInAll());
}

long NewToken() {
    long token = 0;
    // The kernel delivers so few bytes completely and without interruption, or not at all.
    if (getrandom(&token, sizeof token, 0) != static_cast<ssize_t>(sizeof token)) {
        throw SystemError("get random bytes");
    }
    return token & std::numeric_limits<long>::max();
}

} // namespace

RunIdentity AddRunRecord(RunPurpose purpose, long startTm, bool waitForLock) {
    const long token = NewToken();
    const DBResult_tag rows = Execute(
        KRDB::DB_SYSTEM,
        BringAgeUpToDateSql(ReadMoment()) + RaiseIdsSql(KRDB::DB_SYSTEM, "run", HighestRunEver()) +
            Format("INSERT INTO run (token, is_fix, pid, start_tm, age_s) "
                   "SELECT %ld, %d, %d, %ld, age_s FROM ledger_age "
                   "RETURNING id;",
                   token, purpose == RunPurpose::Fix ? 1 : 0, getpid(), startTm),
        {.waitForLock = waitForLock});
    const long number = rows.Long(0, "id");
    LogExceptions([&] { NoteId(IdKind::Run, number); });
    return {number, token};
}

void SecureRunNumber(long number) {
    NoteIdForGood(IdKind::Run, number);
}

bool HoldsRun(KRDB::DB_INSTANCE instance, long number) {
    const std::string id = std::to_string(number);
    const DBResult_tag rows =
        Execute(instance,
                "SELECT run FROM run_count WHERE run = " + id +
                    " UNION ALL SELECT run FROM removed WHERE run = " + id + " LIMIT 1;",
                {.readOnly = true});
    return rows.RowCount() > 0;
}

long RenumberRun(long number) {
    const long other =
        1 + std::max({HighestNotedId(IdKind::Run).value_or(0), number, HighestRunInAll()});
    NoteId(IdKind::Run, other);
    const DBResult_tag rows =
        Execute(KRDB::DB_SYSTEM,
                Format("UPDATE run_part SET run = %ld WHERE run = %ld;", other, number) +
                    RaiseIdsSql(KRDB::DB_SYSTEM, "run", other) +
                    Format("UPDATE run SET id = %ld WHERE id = %ld RETURNING id;", other, number));
    if (rows.RowCount() != 1) {
        throw Error("the record of run " + std::to_string(number) + " is missing");
    }
    return other;
}

std::string HighestRunSql(KRDB::DB_INSTANCE instance) {
    const std::string runs =
        instance == KRDB::DB_SYSTEM ? " UNION ALL SELECT max(id) FROM run" : "";
    return "SELECT max(highest) AS highest FROM (SELECT max(run) AS highest FROM run_count "
           "UNION ALL SELECT max(run) FROM removed UNION ALL SELECT max(run) FROM removal_age" +
           runs + ") AS runs;";
}

void NoteNumbersOfDatabases() {
    NoteId(IdKind::Run, HighestRunInAll());
}

} // namespace recorder
