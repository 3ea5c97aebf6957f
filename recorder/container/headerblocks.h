// Reads the few blocks of a recording that contain its headers, and the numbers in them.

#pragma once

#include "recorder/support/bytesource.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>

namespace recorder {

using Bytes = std::span<const uint8_t>;

// Thrown by a header reader that can't be sure of its answer, and caught at that reader's entry.
class UnusualContainer : public std::exception {
public:
    [[nodiscard]] const char* what() const noexcept override { return "unusual container"; }
};

inline void RequireOrdinary(bool isOrdinary) {
    if (!isOrdinary) {
        throw UnusualContainer();
    }
}

class HeaderBlocks {
public:
    // One page is nearly always enough. More is read only if that saves a call.
    static constexpr std::size_t kBlockBytes = 4096;
    static constexpr std::size_t kMaxBlockBytes = 65536;
    static constexpr int kMaxBlocks = 8;

    explicit HeaderBlocks(ByteSource& source) : m_source(source) {}

    [[nodiscard]] int64_t Size() const { return m_source.Size(); }

    // Sets the offset where the headers end. The rest of them is read at once if it fits a block.
    void ExpectUntil(int64_t end) { m_expectedEnd = end; }

    // Returns the bytes at an offset, from the block that was read last or from a new one that
    // begins there. They stay valid until the next call. Throws UnusualContainer if the recording
    // has no such bytes.
    [[nodiscard]] Bytes At(int64_t offset, std::size_t length);

    // Returns the bytes from an offset to the end of the current block; none if it is outside.
    [[nodiscard]] Bytes Held(int64_t offset) const;

private:
    [[nodiscard]] std::size_t BlockLength(int64_t offset, std::size_t length) const;
    void Read(int64_t offset, std::size_t length);

    ByteSource& m_source;
    int64_t m_expectedEnd = 0;
    int64_t m_begin = 0;
    std::size_t m_length = 0;
    int m_blocks = 0;
    std::array<uint8_t, kMaxBlockBytes> m_block; // not initialised: most of it is never used
};

// Numbers at an offset. The caller ensures that there are enough bytes.
[[nodiscard]] inline uint32_t Big16(Bytes bytes, std::size_t at) {
    return static_cast<uint32_t>(bytes[at]) << 8U | bytes[at + 1];
}
[[nodiscard]] inline uint32_t Big32(Bytes bytes, std::size_t at) {
    return Big16(bytes, at) << 16U | Big16(bytes, at + 2);
}
[[nodiscard]] inline uint64_t Big64(Bytes bytes, std::size_t at) {
    return static_cast<uint64_t>(Big32(bytes, at)) << 32U | Big32(bytes, at + 4);
}
[[nodiscard]] inline uint32_t Little16(Bytes bytes, std::size_t at) {
    return static_cast<uint32_t>(bytes[at + 1]) << 8U | bytes[at];
}
[[nodiscard]] inline uint32_t Little32(Bytes bytes, std::size_t at) {
    return Little16(bytes, at + 2) << 16U | Little16(bytes, at);
}

// The value that Big32 reads for a four-letter name.
[[nodiscard]] constexpr uint32_t FourCc(const char (&letters)[5]) {
    uint32_t name = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        name = name << 8U | static_cast<uint8_t>(letters[i]);
    }
    return name;
}

// Converts a length in units of num/den seconds to seconds, rounded first to microseconds and then
// to seconds, like the length from libavformat. Throws UnusualContainer if it exceeds 31 bits.
[[nodiscard]] int32_t RoundedSeconds(uint64_t units, uint32_t num, uint32_t den);

} // namespace recorder
