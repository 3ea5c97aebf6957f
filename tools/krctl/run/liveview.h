// The presentation of a run in progress.

#pragma once

#include "recorder/camera/cameratable.h"
#include "recorder/run/live.h"
#include "recorder/run/runlist.h"
#include "tools/common/joboptions.h"
#include "tools/common/texts.h"

#include <chrono>
#include <optional>
#include <string>

// The numbers that the progress of a run is divided by.
struct RunShares {
    int jobs = 0;    // of the run
    int cameras = 0; // of its jobs for recordings and alert recordings
};

// The shares of a run that krctl starts on a recorder with these cameras.
[[nodiscard]] RunShares SharesOf(const JobOptions& jobs,
                                 const std::vector<recorder::CameraRow>& cameras);

// The fraction of the run that is done, 0.0 to 1.0: the progress in the task store, plus the
// current part's share of it, by the number of its files seen relative to its rows. Without shares,
// the progress in the task store alone.
[[nodiscard]] double FractionOf(const recorder::LiveRun& live,
                                const std::optional<RunShares>& shares);

struct LiveView {
    recorder::LiveRun live;
    recorder::RunTotals totals;
    double fraction = 0.0;
    double elapsedS = 0.0;
};

// "recordings of camera 3 Front  12345 files  +2 -1  4100/s  32 ahead  45%  0:32 left", where
// helpers prepare 32 files at the same time. If that is wider than `columns` characters, the least
// important texts are omitted. The remaining time is shown only once it can be estimated.
[[nodiscard]] std::string LiveLine(const LiveView& view, const CameraNames& names,
                                   std::size_t columns);

// Shows the progress of a run on standard error: one line that changes on a terminal, a line for
// each part elsewhere.
class ProgressDisplay {
public:
    // Without `isWanted`, nothing is shown.
    explicit ProgressDisplay(bool isWanted);

    void Show(const LiveView& view);

    // Clears the line on a terminal.
    void End();

private:
    bool m_isWanted;
    bool m_isTerminal;
    CameraNames m_names;
    std::string m_part; // shown last
};
