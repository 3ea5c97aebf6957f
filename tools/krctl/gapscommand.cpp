#include "tools/krctl/commands.h"

#include "recorder/camera/cameratable.h"
#include "recorder/coverage/cameracoverage.h"
#include "tools/common/coverageview.h"
#include "tools/common/exitstatus.h"
#include "tools/common/joboptions.h"
#include "tools/common/json.h"
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

struct CameraGaps {
    int camId = 0;
    std::vector<recorder::Interval> gaps;
    std::vector<std::string> problems;
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

Json JsonOf(const CameraGaps& camera) {
    Json json;
    json["camera"] = camera.camId;
    json["gaps"] = Json::array();
    for (const recorder::Interval& gap : camera.gaps) {
        Json each;
        each["what"] = KeyOf(gap.coverage);
        each["begin"] = JsonTime(gap.beginTm);
        each["end"] = JsonTime(gap.endTm);
        each["begin_local"] = TimeText(gap.beginTm);
        each["end_local"] = TimeText(gap.endTm);
        each["seconds"] = gap.endTm - gap.beginTm;
        json["gaps"].push_back(each);
    }
    json["problems"] = Json::array();
    for (const std::string& problem : camera.problems) {
        json["problems"].push_back(JsonText(problem));
    }
    return json;
}

void PrintGapsAsJson(const Times& times, const std::vector<CameraGaps>& cameras) {
    Json document;
    document["since"] = JsonTime(times.sinceTm);
    document["until"] = JsonTime(times.untilTm);
    document["complete"] = std::all_of(cameras.begin(), cameras.end(), [](const CameraGaps& each) {
        return each.problems.empty();
    });
    document["cameras"] = Json::array();
    for (const CameraGaps& camera : cameras) {
        document["cameras"].push_back(JsonOf(camera));
    }
    PrintJson("gaps", document);
}

void PrintGaps(const Times& times, const std::vector<CameraGaps>& cameras) {
    const CameraNames names = ReadCameraNames();
    Table table({{.title = "camera"},
                 {.title = "what"},
                 {.title = "begin"},
                 {.title = "end"},
                 {.title = "length", .isNumber = true, .rank = 1},
                 {.title = "begin, UTC", .rank = 2},
                 {.title = "end, UTC", .rank = 3}});
    bool isEmpty = true;
    for (const CameraGaps& camera : cameras) {
        for (const recorder::Interval& gap : camera.gaps) {
            isEmpty = false;
            table.AddRow(
                {CameraText(names, camera.camId), TextOf(gap.coverage), TimeText(gap.beginTm),
                 TimeText(gap.endTm), DurationText(static_cast<double>(gap.endTm - gap.beginTm)),
                 UtcTimeText(gap.beginTm).value_or("-"), UtcTimeText(gap.endTm).value_or("-")});
        }
    }
    if (isEmpty) {
        std::printf("No gaps found from %s to %s.\n", TimeText(times.sinceTm).c_str(),
                    TimeText(times.untilTm).c_str());
    } else {
        PrintTable(table);
    }
    for (const CameraGaps& camera : cameras) {
        for (const std::string& problem : camera.problems) {
            const std::string text =
                "UNKNOWN: camera " + CameraText(names, camera.camId) + ": " + problem;
            std::printf("%s\n", Coloured(Colour::Red, Printable(text)).c_str());
        }
    }
}

void ShowGaps(const GapsOptions& options) {
    const Times times = TimesOf(options);
    std::vector<CameraGaps> cameras;
    bool isComplete = true;
    bool hasGaps = false;
    for (const int camId : CamerasOf(options)) {
        recorder::CameraCoverage read =
            recorder::CoverageOfCamera(camId, times.sinceTm, times.untilTm, times.nowTm);
        cameras.push_back(
            {camId, recorder::GapsIn(read.coverage, times.minSec), std::move(read.problems)});
        isComplete = isComplete && cameras.back().problems.empty();
        hasGaps = hasGaps || !cameras.back().gaps.empty();
    }
    options.asJson ? PrintGapsAsJson(times, cameras) : PrintGaps(times, cameras);
    if (!isComplete) {
        throw CLI::RuntimeError(kExitFailed);
    }
    if (hasGaps) {
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
