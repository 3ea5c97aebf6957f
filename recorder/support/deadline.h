// A moment at which waiting ends, on a clock that nobody sets.

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

    // Time that doesn't count.
    void Extend(Clock::duration time) {
        if (m_end) {
            *m_end += time;
        }
    }

    [[nodiscard]] bool IsOver() const { return m_end && Clock::now() >= *m_end; }

    // As poll takes it: 0 once it is over, -1 if it never will be. Rounded up, so that nobody asks
    // again and again in the last millisecond.
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
