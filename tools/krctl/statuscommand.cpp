#include "tools/krctl/commands.h"

#include "recorder/backup/backupjob.h"
#include "recorder/finding/finding.h"
#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "tools/common/exitstatus.h"
#include "tools/common/json.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/run/liveview.h"
#include "tools/krctl/run/runview.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <thread>

#include <CLI/CLI.hpp>

namespace {

using recorder::RunInProgress;
using Answer = RunInProgress::Answer;

constexpr std::chrono::milliseconds kPollInterval{500};

struct StatusOptions {
    bool watch = false;
    bool json = false;
    bool withExitCode = false;
};

LiveView ViewOf(const recorder::LiveRun& live) {
    const double elapsedS =
        live.startTm == 0 ? 0.0
                          : static_cast<double>(std::max(std::time(nullptr) - live.startTm, 0L));
    const recorder::RunTotals totals =
        live.run == 0 ? recorder::RunTotals() : recorder::TotalsOfRun(live.run);
    return {live, totals, FractionOf(live, std::nullopt), elapsedS};
}

Json JsonOf(const LiveView& view) {
    const recorder::LiveRun& live = view.live;
    Json json;
    json["run"] = live.run == 0 ? Json() : Json(live.run);
    json["pid"] = live.pid == 0 ? Json() : Json(live.pid);
    json["start"] = live.startTm == 0 ? Json() : JsonTime(live.startTm);
    json["kind"] = live.kind.empty() ? Json() : Json(KindKey(live.kind));
    json["camera"] = live.camId == 0 ? Json() : Json(live.camId);
    json["files"] = live.files;
    json["added"] = view.totals.added;
    json["removed"] = view.totals.removed;
    json["failures"] = live.failures;
    json["refusals"] = live.refusals;
    json["progress"] = view.fraction;
    return json;
}

Json InProgress(const RunInProgress& found) {
    return found.answer == Answer::Unknown ? Json() : Json(found.answer == Answer::Yes);
}

void PrintAsJson(const RunInProgress& found) {
    const bool isRunning = found.answer == Answer::Yes;
    Json json;
    json["in_progress"] = InProgress(found);
    json["unknown_because"] = found.answer == Answer::Unknown ? JsonText(found.why) : Json();
    json["running"] = isRunning ? JsonOf(ViewOf(found.live)) : Json();
    const std::optional<recorder::RunRecord> newest = recorder::NewestRun();
    json["last"] = newest && !isRunning ? JsonOf(::ViewOf(*newest)) : Json();
    const std::string failure = recorder::LastBackupFailure();
    json["backup_failure"] = failure.empty() ? Json() : JsonText(failure);
    PrintJson("status", json);
}

void PrintNewestRun(const std::string& state) {
    if (const std::optional<recorder::RunRecord> newest = recorder::NewestRun()) {
        std::printf("%s. Last run, %s:\n", state.c_str(), TimeText(newest->startTm).c_str());
        PrintRun(::ViewOf(*newest));
    } else {
        std::printf("%s. No run on record.\n", state.c_str());
    }
}

void PrintLive(const recorder::LiveRun& live) {
    const std::string process = live.pid == 0 ? "" : ", process " + std::to_string(live.pid);
    const std::string start = live.startTm == 0 ? "" : ", since " + TimeText(live.startTm);
    std::printf("A run is in progress%s%s:\n%s\n", process.c_str(), start.c_str(),
                LiveLine(ViewOf(live), ReadCameraNames(), INT_MAX).c_str());
}

void Print(const RunInProgress& found) {
    switch (found.answer) {
    case Answer::Yes:
        PrintLive(found.live);
        break;
    case Answer::No:
        PrintNewestRun("No run in progress");
        break;
    case Answer::Unknown:
        PrintNewestRun(Printable("Could not determine whether a run is in progress: " + found.why));
        break;
    }
}

// Shows the run until it ends.
void Watch() {
    ProgressDisplay display(true);
    for (RunInProgress found = recorder::FindRunInProgress(); found.answer == Answer::Yes;
         found = recorder::FindRunInProgress()) {
        display.Show(ViewOf(found.live));
        std::this_thread::sleep_for(kPollInterval);
    }
    display.End();
}

// The exit status for the last run, or during a run for the one before it. A complete run leaves
// known findings as they are.
int LastRunStatus(const RunInProgress& found) {
    const std::optional<recorder::RunRecord> last =
        found.answer == Answer::Yes ? recorder::NewestEndedRun() : recorder::NewestRun();
    const int status = last ? ExitStatusOf(*last) : kExitFailed;
    return status == kExitOk && !recorder::CountFindings({}).empty() ? kExitFindings : status;
}

void PrintBackupFailure() {
    if (const std::string failure = recorder::LastBackupFailure(); !failure.empty()) {
        std::printf("The last backup failed: %s\n", Printable(failure).c_str());
    }
}

void Status(const StatusOptions& options) {
    if (options.watch) {
        Watch();
    }
    const RunInProgress found = recorder::FindRunInProgress();
    if (options.json) {
        PrintAsJson(found);
    } else {
        Print(found);
        PrintBackupFailure();
    }
    if (found.answer == Answer::Unknown) {
        throw CLI::RuntimeError(kExitFailed);
    }
    if (const int status = options.withExitCode ? LastRunStatus(found) : kExitOk;
        status != kExitOk) {
        throw CLI::RuntimeError(status);
    }
}

} // namespace

void AddStatusCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("status", "show the run in progress, or the last run");
    const auto options = std::make_shared<StatusOptions>();
    CLI::Option* const watch = command->add_flag("--watch", options->watch,
                                                 "follow the run until it ends; not with --json");
    command->add_flag("--json", options->json, "print JSON")->excludes(watch);
    command->add_flag("--exit-code", options->withExitCode,
                      "end with 0 only if the last run was complete and there are no findings");
    command->callback([options] { Status(*options); });
}
