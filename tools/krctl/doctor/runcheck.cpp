#include "recorder/finding/finding.h"
#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "tools/common/texts.h"
#include "tools/krctl/doctor/check.h"

#include <optional>
#include <string>

namespace {

constexpr const char* kSubject = "run";
constexpr const char* kFindings = "findings";

// A run is registered a moment before it has a number.
Check CheckLiveRun(const recorder::LiveRun& live) {
    const std::string process = "process " + std::to_string(live.pid);
    return Ok(kSubject, live.run == 0 ? "a run is starting, " + process
                                      : "run " + std::to_string(live.run) + " in progress since " +
                                            TimeText(live.startTm) + ", " + process);
}

Check CheckLastRun() {
    const std::optional<recorder::RunRecord> last = recorder::NewestRun();
    if (!last) {
        return Ok(kSubject, "no run yet");
    }
    const std::string name = "run " + std::to_string(last->id) + " of " + TimeText(last->startTm);
    if (!last->endTm) {
        return Warning(kSubject,
                       name +
                           " is not in progress and has no recorded end: it was killed, or its end "
                           "could not be recorded",
                       "run krctl run, which completes its work");
    }
    if (last->failures + last->refusals > 0) {
        return Warning(kSubject,
                       "last run: " + name + ": " + Counted(last->failures, "failure") + ", " +
                           Counted(last->refusals, "refusal"),
                       "run krctl status; what it doesn't name is in the log");
    }
    return Ok(kSubject, "no run in progress; last run: " + name);
}

} // namespace

Checks CheckFindings() {
    const long count = recorder::FindingsOnRecord();
    if (count == 0) {
        return {Ok(kFindings, "no findings on record")};
    }
    return {Warning(kFindings, Counted(count, "known finding") + " on record",
                    "run krctl findings, which lists them")};
}

Checks CheckRun() {
    const recorder::RunInProgress found = recorder::FindRunInProgress();
    switch (found.answer) {
    case recorder::RunInProgress::Answer::Yes:
        return {CheckLiveRun(found.live)};
    case recorder::RunInProgress::Answer::Unknown:
        return {Warning(kSubject, "unknown whether a run is in progress: " + found.why,
                        "run krctl doctor as root, or as the user of the runs")};
    case recorder::RunInProgress::Answer::No:
        break;
    }
    return {CheckLastRun()};
}
