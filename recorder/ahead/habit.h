// What the tool does with most of the files that it reaches.

#pragma once

#include <bit>
#include <cstdint>

namespace recorder {

class Habit {
public:
    // The tool reaches the next file.
    void NextFile() {
        m_files = static_cast<uint16_t>(m_files << 1);
        m_count += m_count < kFiles ? 1 : 0;
    }

    // The tool does it with the file that it reached last.
    void Note() { m_files |= 1; }

    // True if the tool did it with at least half of the last files, except for the file reached
    // last, with which it may still do it.
    [[nodiscard]] bool IsUsual() const {
        const int others = m_count - 1;
        return others > 0 && 2 * std::popcount(static_cast<uint16_t>(m_files >> 1)) >= others;
    }

private:
    static constexpr int kFiles = 16;

    uint16_t m_files = 0; // a bit for each file, the last one is the lowest
    int m_count = 0;
};

} // namespace recorder
