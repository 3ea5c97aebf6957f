#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "tools/doctor/checks.h"

#include <optional>
#include <string>
#include <vector>

namespace {

constexpr const char* kSubject = "run";

} // namespace

Checks CheckRun() {
    if (const std::optional<recorder::LiveRun> live = recorder::RegisteredRun()) {
        return {Ok(kSubject, "run " + std::to_string(live->run) + " goes on since " +
                                 TimeOf(live->startTm) + ", process " + std::to_string(live->pid))};
    }
    const std::vector<recorder::RunRecord> runs = recorder::ListRuns();
    if (runs.empty()) {
        return {Ok(kSubject, "there has been none yet")};
    }
    const std::string last =
        "run " + std::to_string(runs.front().id) + " of " + TimeOf(runs.front().startTm);
    if (!runs.front().endTm) {
        return {Warning(kSubject, last + " has not ended: it was killed, or its end was not noted",
                        "krctl run completes its work")};
    }
    return {Ok(kSubject, "none goes on, " + last + " was the last")};
}
