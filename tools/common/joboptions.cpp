#include "tools/common/joboptions.h"

#include "recorder/support/error.h"

#include <algorithm>
#include <climits>

#include <CLI/CLI.hpp>

namespace {

constexpr int kAllCameras = -1;

// Adds an option whose value is a camera's id, or -1 for all cameras.
void AddCameraOption(CLI::App& command, const char* name, std::optional<int>& camera,
                     const char* what) {
    command.add_option(name, camera, what)
        ->type_name("CAMERA")
        ->check(CLI::Validator(
            [](const std::string& text) -> std::string {
                int id = 0;
                const bool isCamera =
                    CLI::detail::lexical_cast(text, id) && (id == kAllCameras || id > 0);
                return isCamera ? "" : text + ": expected the number of a camera, or -1 for all";
            },
            ""));
}

} // namespace

void AddJobOptions(CLI::App& command, JobOptions& jobs) {
    AddCameraOption(command, "-r", jobs.eventCamera,
                    "recordings of this camera; -1 for all cameras");
    AddCameraOption(command, "-a", jobs.alertEventCamera,
                    "alert recordings of this camera; -1 for all cameras");
    command.add_flag("-s", jobs.snapshots, "snapshots");
    command.add_flag("-e", jobs.emaps, "e-maps");
}

std::vector<std::string> ArgumentsOf(const JobOptions& jobs) {
    if (!jobs.eventCamera && !jobs.alertEventCamera && !jobs.snapshots && !jobs.emaps) {
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

void RequireOneCamera(const JobOptions& jobs) {
    if (jobs.eventCamera && jobs.alertEventCamera && *jobs.eventCamera != *jobs.alertEventCamera) {
        throw recorder::Error(
            "-r " + std::to_string(*jobs.eventCamera) + " -a " +
            std::to_string(*jobs.alertEventCamera) +
            ": expected the same camera for both, as one run works for one camera "
            "or for all");
    }
}

void RequireKnownCamera(const JobOptions& jobs, const std::vector<recorder::CameraRow>& cameras) {
    for (const std::optional<int>& id : {jobs.eventCamera, jobs.alertEventCamera}) {
        const bool isKnown =
            !id || *id == kAllCameras ||
            std::any_of(cameras.begin(), cameras.end(),
                        [&](const recorder::CameraRow& camera) { return camera.id == *id; });
        if (!isKnown) {
            throw recorder::Error("there is no camera with the id " + std::to_string(*id) +
                                  "; \"krctl camera list\" lists them");
        }
    }
}
