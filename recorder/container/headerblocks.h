// The few blocks of a recording in which its headers lie, and the numbers in them.

#pragma once

#include "recorder/support/bytesource.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>

namespace recorder {

using Bytes = std::span<const uint8_t>;

// What a reader of ordinary recordings throws where it can't be sure of its answer. It is caught
// where that reader begins.
class UnusualContainer : public std::exception {
public:
    [[nodiscard]] const char* what() const noexcept override { return "unusual recording"; }
};

inline void RequireUsual(bool isOrdinary) {
    if (!isOrdinary) {
        throw UnusualContainer();
    }
}

class HeaderBlocks {
public:
    // A page tells nearly always what is looked for. More is read only where it saves a call.
    static constexpr std::size_t kBlockBytes = 4096;
    static constexpr std::size_t kMaxBlockBytes = 65536;
    static constexpr int kMaxBlocks = 8;

    explicit HeaderBlocks(ByteSource& source) : m_source(source) {}

    [[nodiscard]] int64_t Size() const { return m_source.Size(); }

    // Headers go on until here: what is left of them is read at once if it fits into a block.
    void ExpectUntil(int64_t end) { m_expectedEnd = end; }

    // The bytes at a place, out of the block that was read last or of a new one that begins there.
    // They stay until the next call. UnusualContainer, where there are no such bytes.
    [[nodiscard]] Bytes At(int64_t offset, std::size_t length);

    // As many of them as have been read, perhaps none.
    [[nodiscard]] Bytes Held(int64_t offset) const;

private:
    [[nodiscard]] std::size_t BlockLength(int64_t offset, std::size_t length) const;
    void Read(int64_t offset, std::size_t length);

    ByteSource& m_source;
    int64_t m_expectedEnd = 0;
    int64_t m_begin = 0;
    std::size_t m_length = 0;
    int m_blocks = 0;
    std::array<uint8_t, kMaxBlockBytes> m_block; // left unset: most of it is never used
};

// Numbers at a place that the caller knows to be there.
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

// A four-letter name as Big32 reads it.
[[nodiscard]] constexpr uint32_t FourCc(const char (&letters)[5]) {
    uint32_t name = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        name = name << 8U | static_cast<uint8_t>(letters[i]);
    }
    return name;
}

// As many units of one scale as these are of another, to the nearest.
[[nodiscard]] uint64_t Rescaled(uint64_t units, uint32_t scale, uint32_t unitsScale);

// So many units of num/den seconds, rounded to microseconds and then to seconds as libavformat's
// caller rounds them. UnusualContainer, where they don't fit into 31 bits.
[[nodiscard]] int32_t RoundedSeconds(uint64_t units, uint32_t num, uint32_t den);

} // namespace recorder
