// A run that goes on, as krctl shows it.

#pragma once

#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "tools/common/joboptions.h"
#include "tools/common/texts.h"

#include <chrono>
#include <optional>
#include <string>

// How many parts the progress of a run is made of.
struct RunShares {
    int jobs = 0;    // of the run
    int cameras = 0; // that its recording jobs work for
};

// Those of a run that krctl starts on a recorder with these cameras.
[[nodiscard]] RunShares SharesOf(const JobOptions& jobs,
                                 const std::vector<recorder::CameraRow>& cameras);

// The share of the run that is done, 0.0 to 1.0: what the task store says, and of the part that
// goes on the share of its rows that have been looked for. Only a part with more files than rows
// before is further than it seems. Without shares it is what the task store says.
[[nodiscard]] double FractionOf(const recorder::LiveRun& live,
                                const std::optional<RunShares>& shares);

struct LiveView {
    recorder::LiveRun live;
    recorder::RunTotals totals;
    double fraction = 0.0;
    double elapsedS = 0.0;
};

// "recordings of camera 3 Front  12345 files  +2 -1  4100/s  45%  0:32 left", as much of it as
// `columns` characters hold; what matters least goes first. Time left is told once it can be.
[[nodiscard]] std::string LiveLine(const LiveView& view, const CameraNames& names,
                                   std::size_t columns);
