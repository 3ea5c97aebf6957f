// How many requests a disk should have at the same time.
//
// A disk that serves 32 requests at once answers each of them as quickly as a single one. With
// more, requests wait for each other, and so do those of programs that record to the same disk. The
// number is therefore doubled as long as answers take little longer than with few requests, and
// reduced when they take much longer.

#pragma once

#include <array>
#include <chrono>
#include <cstddef>

namespace recorder {

enum class DiskRequest { Status, Bytes };

class Concurrency {
public:
    // `most` is the highest number, at least 1.
    explicit Concurrency(int most);

    [[nodiscard]] int Allowed() const { return m_allowed; }

    // True if nearly all of the last requests were answered from memory.
    [[nodiscard]] bool IsIdle() const { return m_isIdle; }

    // A request was answered after this time.
    void Note(DiskRequest request, std::chrono::nanoseconds took);

private:
    struct Answers {
        double count = 0;
        double ns = 0;
    };

    static constexpr std::size_t kKinds = 2;

    void NoteForIdle(bool hasWaited);
    [[nodiscard]] double Slowdown();
    void Adjust();

    int m_most;
    int m_allowed;
    int m_answers = 0; // since the last adjustment
    std::array<Answers, kKinds> m_sample{};
    std::array<double, kKinds> m_leastNs{}; // the mean of the quickest sample; 0: none yet
    bool m_isIdle = false;
    int m_requests = 0; // since IsIdle was decided
    int m_waits = 0;
};

} // namespace recorder
