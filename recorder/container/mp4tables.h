// What has been read of a track's sample tables, though nobody asked for it.

#pragma once

#include "recorder/container/headerblocks.h"

#include <optional>

namespace recorder {

class SampleTables {
public:
    // A table of so many bytes, and as many of them as have been read.
    void Add(uint32_t name, int64_t length, Bytes seen);

    // No more tables are to come.
    void NoteEnd() { m_isEndSeen = true; }

    // False when what has been read doesn't fit together: then libavformat makes no use of the
    // track's edits. What hasn't been read is taken to be well.
    [[nodiscard]] bool CanBeWhole() const;

private:
    struct Table {
        int64_t length = 0;
        Bytes seen;
    };

    [[nodiscard]] bool AreChunksFilled(uint32_t chunks, uint32_t samples) const;

    std::optional<Table> m_times;        // of the samples
    std::optional<Table> m_sizes;        // of the samples
    std::optional<Table> m_chunkLengths; // in samples
    std::optional<Table> m_chunks;       // where they are
    std::size_t m_placeBytes = 4;        // of a chunk's place
    bool m_isOdd = false;
    bool m_isEndSeen = false;
};

} // namespace recorder
