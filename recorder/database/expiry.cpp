#include "recorder/database/expiry.h"

#include "recorder/database/age.h"
#include "recorder/database/databases.h"
#include "recorder/support/format.h"

namespace recorder {

namespace {

constexpr long kSecondsPerDay = 86400;
constexpr long kBringUpToDateEveryS = 3600; // so that most runs don't write the age

// The runs that have rows in the ledger. Takes one step in the index for each run, not for each
// row.
constexpr const char* kRunsOfLedger =
    "WITH RECURSIVE kept (run) AS (SELECT min(run) FROM removed UNION ALL "
    "SELECT (SELECT min(run) FROM removed WHERE removed.run > kept.run) FROM kept "
    "WHERE kept.run IS NOT NULL) ";

struct LedgerState {
    bool holdsRows = false;
    long ageS = 0;           // now
    bool isUpToDate = false; // updated in this boot, within kBringUpToDateEveryS
    bool hasUnknown = false; // a run's last removal has no age, or a later one than now
};

LedgerState ReadState(KRDB::DB_INSTANCE instance, const Moment& now) {
    const DBResult_tag oldest =
        Execute(instance, "SELECT run FROM removed ORDER BY run LIMIT 1;", {.readOnly = true});
    LedgerState state;
    state.holdsRows = oldest.RowCount() > 0;
    if (!state.holdsRows) {
        return state;
    }
    const std::string gain = AgeGainSql(now);
    const DBResult_tag age = Execute(
        instance,
        Format(
            "SELECT age_s + %s AS age_s, CASE WHEN boot = '%s' AND boot <> '' AND uptime_s <= %ld "
            "AND uptime_s > %ld THEN 1 ELSE 0 END AS is_up_to_date FROM ledger_age;",
            gain.c_str(), now.kernel.boot.c_str(), now.kernel.uptimeS,
            now.kernel.uptimeS - kBringUpToDateEveryS),
        {.readOnly = true});
    if (age.RowCount() > 0) {
        state.ageS = age.Long(0, "age_s");
        state.isUpToDate = age.Long(0, "is_up_to_date") != 0;
    }
    state.hasUnknown =
        Execute(instance,
                kRunsOfLedger +
                    Format("SELECT kept.run FROM kept WHERE kept.run IS NOT NULL AND NOT EXISTS "
                           "(SELECT 1 FROM removal_age WHERE removal_age.run = kept.run "
                           "AND removal_age.age_s <= %ld) LIMIT 1;",
                           state.ageS),
                {.readOnly = true})
            .RowCount() > 0;
    return state;
}

// An unknown age becomes the present age.
void BringUpToDate(KRDB::DB_INSTANCE instance, const Moment& now) {
    Execute(instance, BringAgeUpToDateSql(now) + "INSERT INTO removal_age (run, age_s) " +
                          kRunsOfLedger +
                          "SELECT kept.run, ledger_age.age_s FROM kept, ledger_age "
                          "WHERE kept.run IS NOT NULL "
                          "ON CONFLICT (run) DO UPDATE SET age_s = excluded.age_s "
                          "WHERE removal_age.age_s > excluded.age_s;");
}

// Returns true if rows are left. If the run removed further rows in the meantime, all its rows
// stay.
bool ForgetSome(KRDB::DB_INSTANCE instance, const char* run, long latestS) {
    const DBResult_tag left = Execute(
        instance, Format("DELETE FROM removed WHERE id IN (SELECT id FROM removed WHERE run = %s "
                         "ORDER BY id LIMIT %d) AND EXISTS (SELECT 1 FROM removal_age "
                         "WHERE removal_age.run = %s AND removal_age.age_s <= %ld);"
                         "DELETE FROM removal_age WHERE run = %s AND age_s <= %ld "
                         "AND NOT EXISTS (SELECT 1 FROM removed WHERE removed.run = %s);"
                         "SELECT run FROM removal_age WHERE run = %s AND age_s <= %ld;",
                         run, kRowsPerTransaction, run, latestS, run, latestS, run, run, latestS));
    return left.RowCount() > 0;
}

void ForgetExpiredIn(KRDB::DB_INSTANCE instance, long keepS) {
    const Moment now = ReadMoment();
    const LedgerState state = ReadState(instance, now);
    if (!state.holdsRows) {
        return;
    }
    if (!state.isUpToDate || state.hasUnknown) {
        BringUpToDate(instance, now);
    }
    const long latestS = state.ageS - keepS;
    const DBResult_tag runs = Execute(
        instance, Format("SELECT run FROM removal_age WHERE age_s <= %ld ORDER BY run;", latestS),
        {.readOnly = true});
    for (int row = 0; row < runs.RowCount(); ++row) {
        while (ForgetSome(instance, runs.Field(row, 0), latestS)) {
            LetOthersWrite(instance);
        }
    }
}

} // namespace

void ForgetExpired(long keepDays) {
    for (const KRDB::DB_INSTANCE instance : OpenInstances()) {
        ForgetExpiredIn(instance, keepDays * kSecondsPerDay);
    }
}

} // namespace recorder
