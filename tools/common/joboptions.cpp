#include "tools/common/joboptions.h"

#include "platform/database.h"
#include "tools/common/exitstatus.h"
#include "tools/common/texts.h"

#include <algorithm>
#include <climits>
#include <set>

#include <CLI/CLI.hpp>

namespace {

constexpr int kAllCameras = -1;

// A check that an option is a camera's id or, if `isAllAllowed`, -1.
CLI::Validator CameraId(bool isAllAllowed) {
    return {[=](const std::string& text) -> std::string {
                int id = 0;
                const bool isCamera = CLI::detail::lexical_cast(text, id) &&
                                      (id > 0 || (isAllAllowed && id == kAllCameras));
                const char* const orAll = isAllAllowed ? ", or -1 for all" : "";
                return isCamera ? "" : text + ": expected the number of a camera" + orAll;
            },
            ""};
}

std::string KindKeys() {
    std::string keys;
    for (const MediaKind& kind : MediaKinds()) {
        keys += (keys.empty() ? "" : ", ") + kind.Key();
    }
    return keys;
}

// The option takes a key; the selection holds the table.
CLI::Validator KeyToTable() {
    return {[](std::string& key) -> std::string {
                for (const MediaKind& kind : MediaKinds()) {
                    if (kind.Key() == key) {
                        key = kind.table;
                        return "";
                    }
                }
                return "expected one of " + KindKeys() + ", not \"" + key + '"';
            },
            ""};
}

bool Includes(const recorder::MediaSelection& selection, const char* table) {
    return std::any_of(recorder::MediaTables().begin(), recorder::MediaTables().end(),
                       [&](const recorder::MediaTable& media) {
                           return media.name == table && selection.IncludesKind(media);
                       });
}

void RequireKindsWithCameras(const recorder::MediaSelection& selection) {
    if (!selection.cameras.empty() && !Includes(selection, gszTableEvent) &&
        !Includes(selection, gszTableAlertEvent)) {
        throw CLI::ValidationError(
            "--camera", "snapshots and e-maps have no cameras; expected --kind recordings or "
                        "--kind alert-recordings with it");
    }
}

void AddCameraLetter(CLI::App& command, const char* name, std::optional<int>& camera,
                     const char* what) {
    command.add_option(name, camera, what)->type_name("CAMERA")->check(CameraId(true));
}

// krindexer would use the last camera for both jobs.
void RequireOneCamera(const JobOptions& jobs) {
    if (jobs.eventCamera && jobs.alertEventCamera && *jobs.eventCamera != *jobs.alertEventCamera) {
        throw CLI::ValidationError("-r " + std::to_string(*jobs.eventCamera) + " -a " +
                                       std::to_string(*jobs.alertEventCamera),
                                   "expected the same camera for both, as one run works for one "
                                   "camera or for all; --camera takes several");
    }
}

void RequireKnownCamera(int id, const std::set<int>& known) {
    if (!known.contains(id)) {
        throw UsageError("there is no camera with the id " + std::to_string(id) +
                         "; \"krctl camera list\" lists them");
    }
}

JobOptions RunOf(const recorder::MediaSelection& selection, int camera) {
    JobOptions run;
    if (Includes(selection, gszTableEvent)) {
        run.eventCamera = camera;
    }
    if (Includes(selection, gszTableAlertEvent)) {
        run.alertEventCamera = camera;
    }
    return run;
}

} // namespace

void AddMediaOptions(CLI::App& command, recorder::MediaSelection& selection) {
    command.add_option("--camera", selection.cameras, "only this camera; can be repeated")
        ->type_name("CAMERA")
        ->allow_extra_args(false)
        ->check(CameraId(false));
    command
        .add_option("--kind", selection.kinds,
                    "only this kind: " + KindKeys() + "; can be repeated")
        ->type_name("KIND")
        ->allow_extra_args(false)
        ->transform(KeyToTable());
    command.parse_complete_callback([&selection] { RequireKindsWithCameras(selection); });
}

void RequireKnownCameras(const recorder::MediaSelection& selection, const std::set<int>& known) {
    for (const int id : selection.cameras) {
        RequireKnownCamera(id, known);
    }
}

void AddJobOptions(CLI::App& command, JobSelection& jobs) {
    AddMediaOptions(command, jobs.media);
    AddCameraLetter(command, "-r", jobs.letters.eventCamera,
                    "recordings of this camera; -1 for all cameras");
    AddCameraLetter(command, "-a", jobs.letters.alertEventCamera,
                    "alert recordings of this camera; -1 for all cameras");
    command.add_flag("-s", jobs.letters.snapshots, "snapshots");
    command.add_flag("-e", jobs.letters.emaps, "e-maps");
    for (const char* const letter : {"-r", "-a", "-s", "-e"}) {
        for (const char* const name : {"--camera", "--kind"}) {
            command.get_option(letter)->excludes(command.get_option(name));
        }
    }
    command.parse_complete_callback([&jobs] {
        RequireKindsWithCameras(jobs.media);
        RequireOneCamera(jobs.letters);
    });
}

std::vector<JobOptions> RunsOf(const JobSelection& jobs) {
    if (jobs.media.IsAll()) {
        return {jobs.letters};
    }
    std::vector<JobOptions> runs;
    std::set<int> seen;
    for (const int camera :
         jobs.media.cameras.empty() ? std::vector{kAllCameras} : jobs.media.cameras) {
        if (seen.insert(camera).second) {
            runs.push_back(RunOf(jobs.media, camera));
        }
    }
    runs.front().snapshots = Includes(jobs.media, gszTableSnapshot);
    runs.front().emaps = Includes(jobs.media, gszTableEmap);
    return runs;
}

std::vector<std::string> ArgumentsOf(const JobOptions& jobs) {
    if (jobs == JobOptions()) {
        return {"-e", "-s", "-r", "-1", "-a", "-1"};
    }
    std::vector<std::string> arguments;
    if (jobs.emaps) {
        arguments.emplace_back("-e");
    }
    if (jobs.snapshots) {
        arguments.emplace_back("-s");
    }
    if (jobs.eventCamera) {
        arguments.insert(arguments.end(), {"-r", std::to_string(*jobs.eventCamera)});
    }
    if (jobs.alertEventCamera) {
        arguments.insert(arguments.end(), {"-a", std::to_string(*jobs.alertEventCamera)});
    }
    return arguments;
}

void RequireKnownCameras(const JobSelection& jobs, const std::set<int>& known) {
    for (const std::optional<int>& id : {jobs.letters.eventCamera, jobs.letters.alertEventCamera}) {
        if (id && *id != kAllCameras) {
            RequireKnownCamera(*id, known);
        }
    }
    RequireKnownCameras(jobs.media, known);
}
