// What can be told of a run while it goes on: kept in the run lock's file by the process that holds
// the lock, so that anybody who may read the file can watch.

#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace recorder {

struct LiveRun {
    long run = 0;          // its id; 0 = not recorded yet
    int pid = 0;           // process that does the work
    long startTm = 0;      // seconds since the epoch
    double progress = 0.0; // of the parts that are over, 0.0 to 1.0, as in the task store
    std::string kind;      // of the part that goes on: its table; empty: none does
    int camId = 0;         // its camera; 0 = of no camera
    long known = 0;        // rows that there were before, in this part
    long partFiles = 0;    // files looked at in this part
    long files = 0;        // and in the whole run
    long failures = 0;     // so far
    long refusals = 0;     // so far
};

constexpr std::size_t kMaxLiveRunBytes =
    512; // of one block of the file, so that it's written at once

// Tells it, if this process or its parent holds the run lock. A failure is nobody's: a run doesn't
// depend on being watched.
void PublishLiveRun(const LiveRun& live) noexcept;

// Publishes which process does the work from now on, and nothing of the run yet; from here on
// FindRegisteredRun finds the run.
void PublishBeginning(int pid) noexcept;

// What was told last, by a run that may be over. Nothing where nothing was ever told, or when it
// is just being written. Throws Error when the file can't be read.
[[nodiscard]] std::optional<LiveRun> ReadLiveRun();

// Whether a run is in progress, with the third answer.
struct RunInProgress {
    enum class Answer { Yes, No, Unknown };
    Answer answer = Answer::No;
    LiveRun live;    // Yes: as far as it has published; 0 where it hasn't
    std::string why; // Unknown
};

// The run that is registered at this moment. Takes no lock: a run that begins at this moment is not
// refused.
[[nodiscard]] RunInProgress FindRegisteredRun();

// Likewise, of every run: one that is not registered (krindexer -o) is seen by its record, which
// names its process. Where that process is there it is Unknown: its number may be another's by now.
// Throws Error when the record can't be read.
[[nodiscard]] RunInProgress FindRunInProgress();

} // namespace recorder
