// The time at which a wait ends, on the monotonic clock.

#pragma once

#include <algorithm>
#include <chrono>
#include <limits>
#include <optional>

namespace recorder {

class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] static Deadline In(std::chrono::milliseconds time) {
        return Deadline(Clock::now() + time);
    }

    [[nodiscard]] static Deadline Never() { return Deadline(std::nullopt); }

    [[nodiscard]] static Deadline EarlierOf(const Deadline& one, const Deadline& other) {
        const bool isOne = one.m_end && (!other.m_end || *one.m_end < *other.m_end);
        return isOne ? one : other;
    }

    // Moves the deadline by time that doesn't count.
    void Extend(Clock::duration time) {
        if (m_end) {
            *m_end += time;
        }
    }

    [[nodiscard]] bool IsOver() const { return m_end && Clock::now() >= *m_end; }

    // The remaining time for poll(2): 0 after the deadline, -1 without one. Rounded up, because a
    // caller would poll continuously in the last millisecond.
    [[nodiscard]] int LeftMs() const {
        if (!m_end) {
            return -1;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*m_end - Clock::now());
        return static_cast<int>(std::clamp<long>(left.count(), 0, std::numeric_limits<int>::max()));
    }

private:
    explicit Deadline(std::optional<Clock::time_point> end) : m_end(end) {}

    std::optional<Clock::time_point> m_end;
};

} // namespace recorder
