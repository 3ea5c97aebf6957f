// The age of a database's ledger: the time between runs, as counted by the kernel.
//
// Whatever clocks show, the age never grows by more than the elapsed time. A row that entered the
// ledger at one age and expires at another was therefore kept for at least the difference.

#pragma once

#include "recorder/support/kerneltime.h"

#include <string>

namespace recorder {

struct Moment {
    KernelTime kernel;
    long clockTm = 0; // the system clock, seconds since the epoch
};

[[nodiscard]] Moment ReadMoment();

// The growth of the age since its last update, in seconds: an SQL expression over the row of
// ledger_age.
//
// Within one boot this is the time that the kernel counted. After a reboot of the same machine it
// is the time that both the new boot and the clock confirm, because a machine's id can be copied,
// and a container can move to a host that has been up for long. On another machine it is 0.
[[nodiscard]] std::string AgeGainSql(const Moment& now);

// A statement that updates the age if `condition` is true.
[[nodiscard]] std::string BringAgeUpToDateSql(const Moment& now,
                                              const std::string& condition = "true");

// Statements that update the age and store it as the age of the last removal by `run`.
[[nodiscard]] std::string NoteRemovalAgeSql(long run, const Moment& now,
                                            const std::string& condition = "true");

} // namespace recorder
