#include "tools/statuscommand.h"

#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "tools/json.h"
#include "tools/liveview.h"
#include "tools/progressdisplay.h"
#include "tools/runview.h"
#include "tools/words.h"

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

constexpr std::chrono::milliseconds kLookEvery{500};

struct StatusOptions {
    bool watch = false;
    bool json = false;
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
    json["start"] = live.startTm == 0 ? Json() : Json(TimeText(live.startTm));
    json["kind"] = live.kind.empty() ? Json() : Json(live.kind);
    json["camera"] = live.camId == 0 ? Json() : Json(live.camId);
    json["files"] = live.files;
    json["added"] = view.totals.added;
    json["removed"] = view.totals.removed;
    json["failures"] = live.failures;
    json["refusals"] = live.refusals;
    json["progress"] = view.fraction;
    return json;
}

void TellAsJson(const std::optional<recorder::LiveRun>& live) {
    Json json;
    json["running"] = live ? JsonOf(ViewOf(*live)) : Json();
    const std::optional<recorder::RunRecord> newest = recorder::NewestRun();
    json["last"] = newest && !live ? JsonOf(::ViewOf(*newest)) : Json();
    PrintJson(json);
}

void TellNewestRun() {
    if (const std::optional<recorder::RunRecord> newest = recorder::NewestRun()) {
        std::printf("No run is going on. The newest one, %s:\n", TimeText(newest->startTm).c_str());
        PrintRun(::ViewOf(*newest));
    } else {
        std::puts("No run is going on, and none is on record.");
    }
}

void Tell(const std::optional<recorder::LiveRun>& live) {
    if (!live) {
        TellNewestRun();
        return;
    }
    std::printf("A run is going on, process %d, since %s:\n%s\n", live->pid,
                TimeText(live->startTm).c_str(),
                LiveLine(ViewOf(*live), ReadCameraNames(), INT_MAX).c_str());
}

// Until the run is over.
void Watch() {
    ProgressDisplay display(true);
    while (const std::optional<recorder::LiveRun> live = recorder::RegisteredRun()) {
        display.Show(ViewOf(*live));
        std::this_thread::sleep_for(kLookEvery);
    }
    display.End();
}

void Status(const StatusOptions& options) {
    if (options.watch) {
        Watch();
    }
    const std::optional<recorder::LiveRun> live = recorder::RegisteredRun();
    if (options.json) {
        TellAsJson(live);
    } else {
        Tell(live);
    }
}

} // namespace

void AddStatusCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("status", "the run that goes on, or how the newest one ended");
    const auto options = std::make_shared<StatusOptions>();
    CLI::Option* const watch =
        command->add_flag("--watch", options->watch, "follow the run until it ends");
    command->add_flag("--json", options->json, "print it as JSON")->excludes(watch);
    command->callback([options] { Status(*options); });
}
