// The options of krindexer that say what is re-indexed, as krctl's commands take them.

#pragma once

#include "recorder/camera/cameratable.h"

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

struct JobOptions {
    std::optional<int> eventCamera = std::nullopt;      // -r; -1 = all local cameras
    std::optional<int> alertEventCamera = std::nullopt; // -a
    bool snapshots = false;                             // -s
    bool emaps = false;                                 // -e

    bool operator==(const JobOptions&) const = default;
};

// About a command without any of these options.
inline constexpr const char* kAllJobsText =
    "Without -r, -a, -s and -e: all recordings, alert recordings, snapshots and e-maps.";

// Adds -r, -a, -s and -e to a command.
void AddJobOptions(CLI::App& command, JobOptions& jobs);

// The arguments of krindexer. Where no job was asked for, those of all jobs for all cameras.
[[nodiscard]] std::vector<std::string> ArgumentsOf(const JobOptions& jobs);

// Throws Error where they name two cameras: krindexer would take the last one for both jobs.
void RequireOneCamera(const JobOptions& jobs);

// Throws Error where they name a camera that is none of these.
void RequireKnownCamera(const JobOptions& jobs, const std::vector<recorder::CameraRow>& cameras);
