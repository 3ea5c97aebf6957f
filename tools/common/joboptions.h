// krindexer's options that select what is re-indexed, for the commands of krctl.

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

// Returns the arguments for krindexer: those of all jobs for all cameras if no job was selected.
[[nodiscard]] std::vector<std::string> ArgumentsOf(const JobOptions& jobs);

// Throws Error if the options name two cameras: krindexer would use the last one for both jobs.
void RequireOneCamera(const JobOptions& jobs);

// Throws Error if the options name a camera that is not in `cameras`.
void RequireKnownCamera(const JobOptions& jobs, const std::vector<recorder::CameraRow>& cameras);
