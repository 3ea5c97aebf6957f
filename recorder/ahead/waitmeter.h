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
    // Counts one file of the calling thread, which must be the same for all calls. Returns a sample
    // when at least 20 ms have passed since the previous one; its cost, a system call, doesn't
    // count then.
    [[nodiscard]] std::optional<WaitSample> CountFile();

    // Begins the next sample now. The time before it is in no sample.
    void Restart();

private:
    struct Counters {
        int64_t wallNs = 0;
        int64_t cpuNs = 0;
        int64_t waits = 0;
    };

    [[nodiscard]] static Counters Now();

    Counters m_start;
    int64_t m_files = 0;
};

} // namespace recorder
