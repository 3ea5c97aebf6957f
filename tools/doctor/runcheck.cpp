#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "tools/doctor/checks.h"
#include "tools/words.h"

#include <optional>
#include <string>

namespace {

constexpr const char* kSubject = "run";

// It is registered a moment before it has a number.
Check CheckLiveRun(const recorder::LiveRun& live) {
    const std::string process = "process " + std::to_string(live.pid);
    return Ok(kSubject, live.run == 0 ? "one begins, " + process
                                      : "run " + std::to_string(live.run) + " goes on since " +
                                            TimeText(live.startTm) + ", " + process);
}

} // namespace

Checks CheckRun() {
    if (const std::optional<recorder::LiveRun> live = recorder::RegisteredRun()) {
        return {CheckLiveRun(*live)};
    }
    const std::optional<recorder::RunRecord> newest = recorder::NewestRun();
    if (!newest) {
        return {Ok(kSubject, "there has been none yet")};
    }
    const std::string last =
        "run " + std::to_string(newest->id) + " of " + TimeText(newest->startTm);
    if (!newest->endTm) {
        return {Warning(kSubject, last + " has not ended: it was killed, or its end was not noted",
                        "krctl run completes its work")};
    }
    return {Ok(kSubject, "none goes on, " + last + " was the last")};
}
