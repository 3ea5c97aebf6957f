// Measures how much of its time a thread waits, while it goes through many files.

#pragma once

#include <cstdint>
#include <optional>

namespace recorder {

// What a thread did in a span of time.
struct WaitSample {
    int64_t wallNs = 0;
    int64_t cpuNs = 0; // on a processor
    int64_t waits = 0; // how often the thread gave up its processor to wait
    int64_t files = 0;

    // True if the thread spent at least half of the time waiting, for at least half of the files.
    // A thread whose processor is taken by other programs doesn't wait.
    [[nodiscard]] bool IsWaiting() const;

    [[nodiscard]] double FilesPerS() const;

    WaitSample& operator+=(const WaitSample& other);
};

class WaitMeter {
public:
    // The time between Pause and Resume is in no sample. Both, and CountFile, must be called by the
    // same thread; a new meter is paused.
    void Pause();
    void Resume();

    // Counts one file. Returns a sample when at least 20 ms have passed since the previous one;
    // only then does the call cost more than reading a coarse clock.
    [[nodiscard]] std::optional<WaitSample> CountFile();

private:
    struct Counters {
        int64_t wallNs = 0;
        int64_t cpuNs = 0;
        int64_t waits = 0;
    };

    [[nodiscard]] static Counters Now();

    Counters m_resumed;
    WaitSample m_sample; // until m_resumed, with all files
};

} // namespace recorder
