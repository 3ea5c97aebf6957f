#include "recorder/container/headerblocks.h"

#include <algorithm>
#include <limits>

namespace recorder {

Bytes HeaderBlocks::Held(int64_t offset) const {
    const int64_t end = m_begin + static_cast<int64_t>(m_length);
    if (offset < m_begin || offset >= end) {
        return {};
    }
    return Bytes(m_block).first(m_length).subspan(static_cast<std::size_t>(offset - m_begin));
}

Bytes HeaderBlocks::At(int64_t offset, std::size_t length) {
    if (Held(offset).size() < length) {
        Read(offset, length);
    }
    return Held(offset).first(length);
}

std::size_t HeaderBlocks::BlockLength(int64_t offset, std::size_t length) const {
    const int64_t expected = m_expectedEnd - offset;
    const bool isRestSmall = expected > 0 && expected <= static_cast<int64_t>(kMaxBlockBytes);
    return std::max({length, kBlockBytes, isRestSmall ? static_cast<std::size_t>(expected) : 0});
}

void HeaderBlocks::Read(int64_t offset, std::size_t length) {
    RequireOrdinary(length <= kMaxBlockBytes && m_blocks < kMaxBlocks);
    RequireOrdinary(offset >= 0 && offset <= Size() &&
                    static_cast<int64_t>(length) <= Size() - offset);
    ++m_blocks;
    m_begin = offset;
    m_length = 0;
    m_length = m_source.ReadAt(offset, std::span(m_block).first(BlockLength(offset, length)));
    RequireOrdinary(m_length >= length);
}

int32_t RoundedSeconds(uint64_t units, uint32_t num, uint32_t den) {
    __extension__ using Wide = unsigned __int128;
    constexpr uint64_t kMicroseconds = 1'000'000;
    constexpr uint64_t kMaxSeconds = std::numeric_limits<int32_t>::max();
    RequireOrdinary(den > 0 && num > 0 && units <= kMaxSeconds * den);
    const Wide us = (static_cast<Wide>(units) * num * kMicroseconds + den / 2) / den;
    const Wide seconds = us / kMicroseconds + (us % kMicroseconds >= kMicroseconds / 2 ? 1 : 0);
    RequireOrdinary(seconds <= kMaxSeconds);
    return static_cast<int32_t>(seconds);
}

} // namespace recorder
