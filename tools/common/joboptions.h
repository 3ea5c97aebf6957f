// The options that select cameras and kinds, for the commands of krctl.

#pragma once

#include "recorder/database/mediaselection.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace CLI {
class App;
}

// Adds --camera and --kind, which can be repeated, to a command that writes to `selection`.
// Selecting cameras for kinds without cameras is wrong usage.
void AddMediaOptions(CLI::App& command, recorder::MediaSelection& selection);

// Throws UsageError if the selection names a camera whose id is not in `known`.
void RequireKnownCameras(const recorder::MediaSelection& selection, const std::set<int>& known);

// What one run of krindexer re-indexes, by its options; without any: everything.
struct JobOptions {
    std::optional<int> eventCamera = std::nullopt;      // -r; -1 = all local cameras
    std::optional<int> alertEventCamera = std::nullopt; // -a
    bool snapshots = false;                             // -s
    bool emaps = false;                                 // -e

    bool operator==(const JobOptions&) const = default;
};

// The selection of a command that plans or starts runs: --camera and --kind, or krindexer's own
// options.
struct JobSelection {
    JobOptions letters;
    recorder::MediaSelection media;
};

// About a command without any of these options.
inline constexpr const char* kAllJobsText =
    "By default: all recordings, alert recordings, snapshots and e-maps. --camera without --kind "
    "selects the camera's recordings and alert recordings. -r, -a, -s and -e are the options of "
    "krindexer.";

// Adds --camera, --kind, -r, -a, -s and -e to a command.
void AddJobOptions(CLI::App& command, JobSelection& jobs);

// Returns the runs of krindexer that the selection needs, at least one: a run is for one camera or
// for all. Snapshots and e-maps are in the first.
[[nodiscard]] std::vector<JobOptions> RunsOf(const JobSelection& jobs);

// Returns the arguments for krindexer: those of all jobs for all cameras if no job was selected.
[[nodiscard]] std::vector<std::string> ArgumentsOf(const JobOptions& jobs);

// Throws UsageError if the selection names a camera whose id is not in `known`.
void RequireKnownCameras(const JobSelection& jobs, const std::set<int>& known);
