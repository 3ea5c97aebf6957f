#include "recorder/database/age.h"

#include "recorder/support/format.h"

#include <ctime>

namespace recorder {

Moment ReadMoment() {
    return {ReadKernelTime(), std::time(nullptr)};
}

std::string AgeGainSql(const Moment& now) {
    const std::string& boot = now.kernel.boot;
    const std::string& machine = now.kernel.machine;
    const long uptimeS = now.kernel.uptimeS;
    if (boot.empty()) {
        return "0";
    }
    std::string gain =
        Format("CASE WHEN ledger_age.boot = '%s' THEN "
               "CASE WHEN ledger_age.uptime_s < %ld THEN %ld - ledger_age.uptime_s ELSE 0 END ",
               boot.c_str(), uptimeS, uptimeS);
    if (!machine.empty()) {
        gain += Format("WHEN ledger_age.machine = '%s' AND ledger_age.boot <> '' THEN "
                       "CASE WHEN ledger_age.clock_tm >= %ld THEN 0 "
                       "WHEN %ld - ledger_age.clock_tm < %ld THEN %ld - ledger_age.clock_tm "
                       "ELSE %ld END ",
                       machine.c_str(), now.clockTm, now.clockTm, uptimeS, now.clockTm, uptimeS);
    }
    return gain + "ELSE 0 END";
}

std::string BringAgeUpToDateSql(const Moment& now, const std::string& condition) {
    return Format("INSERT INTO ledger_age (id, age_s, machine, boot, uptime_s, clock_tm) "
                  "SELECT 1, 0, '%s', '%s', %ld, %ld WHERE %s "
                  "ON CONFLICT (id) DO UPDATE SET age_s = ledger_age.age_s + %s, "
                  "machine = excluded.machine, boot = excluded.boot, "
                  "uptime_s = excluded.uptime_s, clock_tm = excluded.clock_tm;",
                  now.kernel.machine.c_str(), now.kernel.boot.c_str(), now.kernel.uptimeS,
                  now.clockTm, condition.c_str(), AgeGainSql(now).c_str());
}

std::string NoteRemovalAgeSql(long run, const Moment& now, const std::string& condition) {
    return BringAgeUpToDateSql(now, condition) +
           Format("INSERT INTO removal_age (run, age_s) SELECT %ld, age_s FROM ledger_age "
                  "WHERE %s ON CONFLICT (run) DO UPDATE SET age_s = excluded.age_s;",
                  run, condition.c_str());
}

} // namespace recorder
