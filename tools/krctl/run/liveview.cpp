#include "tools/krctl/run/liveview.h"

#include "recorder/support/format.h"
#include "tools/common/terminal.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <vector>

#include <unistd.h>

namespace {

constexpr double kPercent = 100.0;
// An earlier estimate of the remaining time would be a guess.
constexpr double kMinFraction = 0.02;
constexpr double kMinTimeS = 2.0;

// The share of the current part in the progress of the run.
double ShareOfPart(const recorder::LiveRun& live, const RunShares& shares) {
    if (live.kind.empty() || shares.jobs == 0 || (live.kind == "event" && live.camId == 0)) {
        return 0.0;
    }
    return live.camId == 0 ? 1.0 / shares.jobs : 1.0 / shares.jobs / std::max(shares.cameras, 1);
}

std::string StageText(const recorder::LiveRun& live, const CameraNames& names) {
    if (live.kind.empty() && live.camId == 0) {
        return live.run == 0 ? "starting" : "finishing";
    }
    return PartText(live.kind, live.camId == 0 ? "" : CameraText(names, live.camId));
}

std::string TimeLeft(const LiveView& view) {
    if (view.fraction < kMinFraction || view.elapsedS < kMinTimeS) {
        return "";
    }
    return DurationText(view.elapsedS * (1.0 - view.fraction) / view.fraction) + " left";
}

std::string Rate(const LiveView& view) {
    return view.elapsedS <= 0.0
               ? ""
               : recorder::Format("%.0f/s", static_cast<double>(view.live.files) / view.elapsedS);
}

// Joins the texts that are not empty, with two spaces between them.
std::string Joined(const std::vector<std::string>& texts) {
    std::string line;
    for (const std::string& text : texts) {
        if (!text.empty()) {
            line += (line.empty() ? "" : "  ") + text;
        }
    }
    return line;
}

// Moves to the beginning of the line and clears it.
constexpr const char* kClearLine = "\r\x1b[K";

std::string PartOf(const recorder::LiveRun& live) {
    return live.kind + " " + std::to_string(live.camId);
}

} // namespace

RunShares SharesOf(const JobOptions& jobs, const std::vector<recorder::CameraRow>& cameras) {
    RunShares shares;
    for (const std::string& argument : ArgumentsOf(jobs)) {
        const bool isJob = argument.size() == 2 && argument[0] == '-' &&
                           std::string("resa").find(argument[1]) != std::string::npos;
        shares.jobs += isJob ? 1 : 0;
    }
    const int camera = jobs.eventCamera.value_or(jobs.alertEventCamera.value_or(-1));
    const auto locals = std::count_if(cameras.begin(), cameras.end(),
                                      [](const recorder::CameraRow& row) { return row.dsId == 0; });
    shares.cameras = camera > 0 ? 1 : static_cast<int>(locals);
    return shares;
}

double FractionOf(const recorder::LiveRun& live, const std::optional<RunShares>& shares) {
    const double ofPart =
        live.known == 0
            ? 0.0
            : std::min(1.0, static_cast<double>(live.partFiles) / static_cast<double>(live.known));
    return std::min(1.0, live.progress + (shares ? ShareOfPart(live, *shares) * ofPart : 0.0));
}

std::string LiveLine(const LiveView& view, const CameraNames& names, std::size_t columns) {
    const std::string part = Printable(StageText(view.live, names));
    const std::string files = Counted(view.live.files, "file");
    const std::string rows = recorder::Format("+%ld -%ld", view.totals.added, view.totals.removed);
    const std::string percent = recorder::Format("%.0f%%", view.fraction * kPercent);
    const std::string left = TimeLeft(view);
    const std::string ahead =
        view.live.ahead == 0 ? "" : std::to_string(view.live.ahead) + " ahead";
    for (const auto& texts : {std::vector{part, files, rows, Rate(view), ahead, percent, left},
                              std::vector{part, files, rows, Rate(view), percent, left},
                              std::vector{part, files, rows, percent, left}}) {
        std::string line = Joined(texts);
        if (DisplayWidth(line) <= columns) {
            return line;
        }
    }
    const std::string numbers = Joined({files, rows, percent, left});
    const std::size_t used = DisplayWidth(numbers) + 2;
    constexpr std::size_t kMinPart = 8;
    return used + kMinPart <= columns ? Joined({Shortened(part, columns - used), numbers})
                                      : Shortened(Joined({files, percent, left}), columns);
}

ProgressDisplay::ProgressDisplay(bool isWanted)
    : m_isWanted(isWanted), m_isTerminal(IsTerminal(STDERR_FILENO)),
      m_names(isWanted ? ReadCameraNames() : CameraNames()) {}

void ProgressDisplay::Show(const LiveView& view) {
    if (!m_isWanted) {
        return;
    }
    if (m_isTerminal) {
        const auto columns = static_cast<std::size_t>(TerminalColumns(STDERR_FILENO) - 1);
        std::fprintf(stderr, "%s%s", kClearLine, LiveLine(view, m_names, columns).c_str());
    } else if (view.live.kind.empty()) {
        return; // a camera is being loaded; the kind is not known yet
    } else if (const std::string part = PartOf(view.live); part != m_part) {
        m_part = part;
        std::fprintf(stderr, "%s\n", LiveLine(view, m_names, INT_MAX).c_str());
    }
}

void ProgressDisplay::End() {
    if (m_isWanted && m_isTerminal) {
        std::fputs(kClearLine, stderr);
    }
}
