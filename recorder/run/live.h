// The state of the run in progress. The process that holds the run lock writes it into the lock
// file, where every user who may read that file can watch the run.

#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace recorder {

struct LiveRun {
    long run = 0;          // its id; 0 = not recorded yet
    int pid = 0;           // process that does the work
    long startTm = 0;      // seconds since the epoch
    double progress = 0.0; // share of the parts that are finished, 0.0 to 1.0, as the tool reports
    std::string kind;      // table of the current part; empty: no part is in progress
    int camId = 0;         // camera of the current part; 0 = none
    long known = 0;        // rows that the current part had when it began
    long partFiles = 0;    // files that the current part has visited
    long files = 0;        // files that the whole run has visited
    long failures = 0;     // until now
    long refusals = 0;     // until now
    int ahead = 0;         // files that helpers prepare at the same time; 0 = no helpers
};

constexpr std::size_t kMaxLiveRunBytes = 512; // within one block, so that one write stores it

// Publishes the state if this process or its parent holds the run lock. A failure is ignored,
// because a run does not depend on being watched.
void PublishLiveRun(const LiveRun& live) noexcept;

// Publishes which process does the work from now on; the rest of the state is still empty. From now
// on FindRegisteredRun finds the run.
void PublishBeginning(int pid) noexcept;

// The state that was published last, by a run that may have ended. Nothing if none was ever
// published, or if it is being written at this moment. Throws Error when the file can't be read.
[[nodiscard]] std::optional<LiveRun> ReadLiveRun();

struct RunInProgress {
    enum class Answer { Yes, No, Unknown };
    Answer answer = Answer::No;
    LiveRun live;    // for Yes: what the run has published; 0 for what it hasn't published yet
    std::string why; // for Unknown: the reason
};

// The run that is registered at this moment. Takes no lock, so that a run that begins at the same
// moment is not refused.
[[nodiscard]] RunInProgress FindRegisteredRun();

// Like FindRegisteredRun, but also finds a run that is not registered (krindexer -o), by its record
// in the database, which names its process. The answer is Unknown if such a process exists, because
// another program may have got its process id. Throws Error when the record can't be read.
[[nodiscard]] RunInProgress FindRunInProgress();

} // namespace recorder
