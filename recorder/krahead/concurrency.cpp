#include "recorder/krahead/concurrency.h"

#include <algorithm>

namespace recorder {

namespace {

constexpr int kFirst = 4;

// A quicker answer came from memory.
constexpr std::chrono::microseconds kLeastWait{30};

// Answers in a sample, for each request that is allowed.
constexpr int kAnswersPerRequest = 2;

// The number of requests is doubled below the first slowdown, and reduced above the second.
constexpr double kLittleSlower = 1.4;
constexpr double kMuchSlower = 1.8;

constexpr int kRequestsForIdle = 512;
constexpr int kWaitsOfIdle = kRequestsForIdle / 16;

} // namespace

Concurrency::Concurrency(int most) : m_most(most), m_allowed(std::min(kFirst, most)) {}

void Concurrency::Note(DiskRequest request, std::chrono::nanoseconds took) {
    const bool hasWaited = took > kLeastWait;
    NoteForIdle(hasWaited);
    if (!hasWaited) {
        return;
    }
    Answers& answers = m_sample.at(static_cast<std::size_t>(request));
    answers.count += 1;
    answers.ns += static_cast<double>(took.count());
    if (++m_answers >= kAnswersPerRequest * m_allowed) {
        Adjust();
    }
}

void Concurrency::NoteForIdle(bool hasWaited) {
    m_waits += hasWaited ? 1 : 0;
    if (++m_requests == kRequestsForIdle) {
        m_isIdle = m_waits <= kWaitsOfIdle;
        m_requests = 0;
        m_waits = 0;
    }
}

// Returns how much longer the sample's answers took than the quickest did.
double Concurrency::Slowdown() {
    double ns = 0;
    double leastNs = 0;
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        const Answers& answers = m_sample.at(kind);
        if (answers.count == 0) {
            continue;
        }
        const double mean = answers.ns / answers.count;
        double& least = m_leastNs.at(kind);
        least = least == 0 ? mean : std::min(least, mean);
        ns += answers.ns;
        leastNs += least * answers.count;
    }
    return ns / leastNs;
}

void Concurrency::Adjust() {
    const double slowdown = Slowdown();
    if (slowdown < kLittleSlower) {
        m_allowed = std::min(2 * m_allowed, m_most);
    } else if (slowdown > kMuchSlower) {
        m_allowed = std::max(m_allowed * 3 / 4, std::min(kFirst, m_most));
    }
    m_answers = 0;
    m_sample = {};
}

} // namespace recorder
