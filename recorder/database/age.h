// The age of a database's ledger: the time that runs saw pass, as the kernel counted it.
//
// Whatever clocks show, the age grows by no more than the time that passed. So a row that went into
// the ledger at one age and is forgotten at another was kept at least for the difference.

#pragma once

#include "recorder/support/kerneltime.h"

#include <string>

namespace recorder {

struct Moment {
    KernelTime kernel;
    long clockTm = 0; // what the clock shows, seconds since the epoch
};

[[nodiscard]] Moment ReadMoment();

// What the age has grown by since it was last brought up to date: an expression over the row of
// ledger_age, in seconds.
//
// Within one boot it is what the kernel counted. Of another boot of the same machine it is what
// both this boot and the clock confirm: an id of a machine may have been copied, and a container
// that moves to another host finds one that has been up for long. Of another machine it is 0.
[[nodiscard]] std::string AgeGainSql(const Moment& now);

// A statement that brings the age up to date where `condition` holds.
[[nodiscard]] std::string BringAgeUpToDateSql(const Moment& now,
                                              const std::string& condition = "true");

// Statements that do so and note it as the age at the newest removal of `run`.
[[nodiscard]] std::string NoteRemovalAgeSql(long run, const Moment& now,
                                            const std::string& condition = "true");

} // namespace recorder
