// The exit statuses of krctl. krctl(8) lists when each command ends with which.

#pragma once

#include "recorder/support/error.h"

#include <initializer_list>

#include <sysexits.h>

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;       // something failed or could not be completed
inline constexpr int kExitFindings = 2;     // findings, or differences between files and rows
inline constexpr int kExitRefused = 3;      // something was refused, or stopped by --max-removed
inline constexpr int kExitUsage = EX_USAGE; // wrong usage
inline constexpr int kExitNoDatabases = EX_IOERR; // the databases are missing or unusable
inline constexpr int kExitRunInProgress = EX_TEMPFAIL;
inline constexpr int kExitSettings = EX_CONFIG; // the settings or the log are not valid
inline constexpr int kExitInterrupted = 130;    // Ctrl-C; the shell's status for it

// Wrong usage that only the command itself can find, such as a camera that does not exist. krctl
// prints the text and ends with kExitUsage.
class UsageError : public recorder::Error {
public:
    using recorder::Error::Error;
};

// The status of a command that did several things: the more serious one. A refusal outranks a
// failure, and a failure outranks a finding.
[[nodiscard]] constexpr int WorseStatus(int one, int other) {
    for (const int status : {kExitInterrupted, kExitSettings, kExitNoDatabases, kExitRunInProgress,
                             kExitUsage, kExitRefused, kExitFailed, kExitFindings}) {
        if (one == status || other == status) {
            return status;
        }
    }
    return kExitOk;
}
