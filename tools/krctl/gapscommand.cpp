#include "tools/krctl/commands.h"

#include "recorder/camera/cameratable.h"
#include "recorder/coverage/cameracoverage.h"
#include "tools/common/coverageview.h"
#include "tools/common/exitstatus.h"
#include "tools/common/joboptions.h"
#include "tools/common/jsonlist.h"
#include "tools/common/moment.h"
#include "tools/common/table.h"
#include "tools/common/terminal.h"
#include "tools/common/texts.h"
#include "tools/krctl/help.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <ctime>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace {

struct GapsOptions {
    recorder::MediaSelection media;
    std::string since = "30d";
    std::string until;
    std::string min = "60s";
    bool asJson = false;
};

struct Times {
    long nowTm = 0;
    long sinceTm = 0;
    long untilTm = 0;
    long minSec = 0;
};

std::string KeyOf(recorder::Coverage coverage) {
    return CLI::detail::find_and_replace(TextOf(coverage), " ", "-");
}

constexpr long kLongestDaySec = 25 * 3600L;

// Nothing is known about the future. The date of tomorrow is accepted: the end of today.
Times TimesOf(const GapsOptions& options) {
    Times times;
    times.nowTm = std::time(nullptr);
    times.sinceTm = ParseMoment(options.since, Bound::Since, times.nowTm);
    times.untilTm =
        options.until.empty() ? times.nowTm : ParseMoment(options.until, Bound::Until, times.nowTm);
    times.minSec = ParseDuration(options.min);
    if (times.sinceTm >= times.nowTm) {
        throw CLI::ValidationError("--since", "expected a time before now");
    }
    if (times.untilTm > times.nowTm + kLongestDaySec) {
        throw CLI::ValidationError("--until", "expected a time that is not in the future");
    }
    times.untilTm = std::min(times.untilTm, times.nowTm);
    if (times.sinceTm >= times.untilTm) {
        throw CLI::ValidationError("--since", "expected a time before --until");
    }
    return times;
}

// The selected cameras or else all that this recorder records.
std::vector<int> CamerasOf(const GapsOptions& options) {
    std::set<int> known;
    std::vector<int> local;
    for (const recorder::CameraRow& camera : recorder::ListCameras()) {
        known.insert(camera.id);
        if (camera.dsId == 0) {
            local.push_back(camera.id);
        }
    }
    RequireKnownCameras(options.media, known);
    return options.media.cameras.empty() ? local : options.media.cameras;
}

// What could not be examined of a camera, and why.
struct CameraProblems {
    int camId = 0;
    std::vector<std::string> problems;
};

bool IsComplete(const std::vector<CameraProblems>& cameras) {
    return std::all_of(cameras.begin(), cameras.end(),
                       [](const CameraProblems& camera) { return camera.problems.empty(); });
}

// Prints gaps when they are found, because there may be millions.
class GapPrinter {
public:
    GapPrinter(bool asJson, const Times& times)
        : m_asJson(asJson), m_times(times), m_names(ReadCameraNames()),
          m_json("gaps", "gaps",
                 {{"since", JsonTime(times.sinceTm)}, {"until", JsonTime(times.untilTm)}}) {}

    void Print(int camId, const recorder::Interval& gap) {
        ++m_count;
        if (m_asJson) {
            m_json.Add(JsonOf(camId, gap));
            return;
        }
        m_table.AddRow(
            {CameraText(m_names, camId), TextOf(gap.coverage), TimeText(gap.beginTm),
             TimeText(gap.endTm), DurationText(static_cast<double>(gap.endTm - gap.beginTm)),
             UtcTimeText(gap.beginTm).value_or("-"), UtcTimeText(gap.endTm).value_or("-")});
    }

    [[nodiscard]] long Count() const { return m_count; }

    void End(const std::vector<CameraProblems>& cameras) {
        m_asJson ? EndJson(cameras) : EndText(cameras);
    }

private:
    static Json JsonOf(int camId, const recorder::Interval& gap) {
        return {{"camera", camId},
                {"what", KeyOf(gap.coverage)},
                {"begin", JsonTime(gap.beginTm)},
                {"end", JsonTime(gap.endTm)},
                {"begin_local", TimeText(gap.beginTm)},
                {"end_local", TimeText(gap.endTm)},
                {"seconds", gap.endTm - gap.beginTm}};
    }

    void EndJson(const std::vector<CameraProblems>& cameras) {
        Json rest{{"complete", IsComplete(cameras)}, {"cameras", Json::array()}};
        for (const CameraProblems& camera : cameras) {
            Json problems = Json::array();
            for (const std::string& problem : camera.problems) {
                problems.push_back(JsonText(problem));
            }
            rest["cameras"].push_back({{"camera", camera.camId}, {"problems", problems}});
        }
        m_json.End(rest);
    }

    void EndText(const std::vector<CameraProblems>& cameras) {
        m_table.End();
        if (cameras.empty()) {
            std::puts("No cameras are registered, so no gaps were searched for.");
        } else if (m_count == 0) {
            std::printf("No gaps found from %s to %s%s.\n", TimeText(m_times.sinceTm).c_str(),
                        TimeText(m_times.untilTm).c_str(),
                        IsComplete(cameras) ? "" : ", but not everything could be examined");
        }
        for (const CameraProblems& camera : cameras) {
            for (const std::string& problem : camera.problems) {
                const std::string text =
                    "UNKNOWN: camera " + CameraText(m_names, camera.camId) + ": " + problem;
                std::printf("%s\n", Coloured(Colour::Red, Printable(text)).c_str());
            }
        }
    }

    bool m_asJson;
    Times m_times;
    CameraNames m_names;
    JsonList m_json;
    LongTable m_table{{{.title = "camera"},
                       {.title = "what"},
                       {.title = "begin"},
                       {.title = "end"},
                       {.title = "length", .isNumber = true, .rank = 1},
                       {.title = "begin, UTC", .rank = 2},
                       {.title = "end, UTC", .rank = 3}}};
    long m_count = 0;
};

void ShowGaps(const GapsOptions& options) {
    const Times times = TimesOf(options);
    GapPrinter printer(options.asJson, times);
    std::vector<CameraProblems> cameras;
    for (const int camId : CamerasOf(options)) {
        recorder::CameraCoverage read =
            recorder::CoverageOfCamera(camId, times.sinceTm, times.untilTm, times.nowTm);
        for (const recorder::Interval& gap :
             recorder::GapsIn(std::move(read.coverage), times.minSec)) {
            printer.Print(camId, gap);
        }
        cameras.push_back({camId, std::move(read.problems)});
    }
    printer.End(cameras);
    if (!IsComplete(cameras)) {
        throw CLI::RuntimeError(kExitFailed);
    }
    if (printer.Count() > 0) {
        throw CLI::RuntimeError(kExitFindings);
    }
}

} // namespace

void AddGapsCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand(
        "gaps", "list the times without a recording, and why there is none; changes nothing");
    const auto options = std::make_shared<GapsOptions>();
    command->add_option("--camera", options->media.cameras, "only this camera; can be repeated")
        ->type_name("CAMERA")
        ->check(PositiveInteger(INT_MAX));
    command->add_option("--since", options->since, "from this time; 30d if not given")
        ->type_name("TIME")
        ->check(MomentOption(Bound::Since));
    command->add_option("--until", options->until, "until this time; now if not given")
        ->type_name("TIME")
        ->check(MomentOption(Bound::Until));
    command
        ->add_option("--min", options->min, "only gaps of at least this length; 60s if not given")
        ->type_name("TIME")
        ->check(DurationOption());
    command->add_flag("--json", options->asJson, "print JSON");
    command->callback([options] { ShowGaps(*options); });
}
