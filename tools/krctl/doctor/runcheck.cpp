#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "tools/common/words.h"
#include "tools/krctl/doctor/checks.h"

#include <optional>
#include <string>

namespace {

constexpr const char* kSubject = "run";

// It is registered a moment before it has a number.
Check CheckLiveRun(const recorder::LiveRun& live) {
    const std::string process = "process " + std::to_string(live.pid);
    return Ok(kSubject, live.run == 0 ? "one begins, " + process
                                      : "run " + std::to_string(live.run) + " in progress since " +
                                            TimeText(live.startTm) + ", " + process);
}

Check CheckLastRun() {
    const std::optional<recorder::RunRecord> newest = recorder::NewestRun();
    if (!newest) {
        return Ok(kSubject, "there has been none yet");
    }
    const std::string last =
        "run " + std::to_string(newest->id) + " of " + TimeText(newest->startTm);
    if (!newest->endTm) {
        return Warning(kSubject,
                       last + " is not in progress and has not ended: it was killed, or its end "
                              "could not be recorded",
                       "krctl run completes its work");
    }
    return Ok(kSubject, "none in progress, " + last + " was the last");
}

} // namespace

Checks CheckRun() {
    const recorder::RunInProgress found = recorder::FindRunInProgress();
    switch (found.answer) {
    case recorder::RunInProgress::Answer::Yes:
        return {CheckLiveRun(found.live)};
    case recorder::RunInProgress::Answer::Unknown:
        return {Warning(kSubject, "could not tell whether a run is in progress: " + found.why,
                        "ask again as root, or as the user of the runs")};
    case recorder::RunInProgress::Answer::No:
        break;
    }
    return {CheckLastRun()};
}
