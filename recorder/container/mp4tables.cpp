#include "recorder/container/mp4tables.h"

namespace recorder {

namespace {

constexpr std::size_t kCountEnd = 8;
constexpr std::size_t kSizesBegin = 12;
constexpr std::size_t kTimeBytes = 8;
constexpr std::size_t kChunkLengthBytes = 12;
constexpr uint32_t kMostSampleBytes = 0x3fffffff;

// Whether a table that begins with the number of its entries is as long as these, and has one.
bool IsCounted(int64_t length, Bytes seen, std::size_t entryBytes) {
    if (seen.size() < kCountEnd) {
        return length > static_cast<int64_t>(kCountEnd);
    }
    const uint64_t count = Big32(seen, 4);
    return count > 0 && static_cast<uint64_t>(length) == kCountEnd + count * entryBytes;
}

// Sizes come one for all, or each its own.
bool AreSizesCounted(int64_t length, Bytes seen) {
    if (seen.size() < kSizesBegin) {
        return length >= static_cast<int64_t>(kSizesBegin);
    }
    const uint32_t oneSize = Big32(seen, 4);
    const uint64_t count = Big32(seen, 8);
    for (std::size_t at = kSizesBegin; oneSize == 0 && at + 4 <= seen.size(); at += 4) {
        if (Big32(seen, at) > kMostSampleBytes) {
            return false;
        }
    }
    return count > 0 && oneSize <= kMostSampleBytes &&
           static_cast<uint64_t>(length) == kSizesBegin + (oneSize == 0 ? count * 4 : 0);
}

} // namespace

void SampleTables::Add(uint32_t name, int64_t length, Bytes seen) {
    std::optional<Table>* place = nullptr;
    if (name == FourCc("stts")) {
        place = &m_times;
    } else if (name == FourCc("stsz")) {
        place = &m_sizes;
    } else if (name == FourCc("stsc")) {
        place = &m_chunkLengths;
    } else if (name == FourCc("stco") || name == FourCc("co64")) {
        place = &m_chunks;
        m_placeBytes = name == FourCc("stco") ? 4 : 8;
    }
    if (place != nullptr) {
        m_isOdd = m_isOdd || place->has_value();
        *place = Table{length, seen};
    }
}

bool SampleTables::CanBeWhole() const {
    const bool hasAll = m_times && m_sizes && m_chunkLengths && m_chunks;
    if (m_isOdd || (m_isEndSeen && !hasAll)) {
        return false;
    }
    if ((m_times && !IsCounted(m_times->length, m_times->seen, kTimeBytes)) ||
        (m_sizes && !AreSizesCounted(m_sizes->length, m_sizes->seen)) ||
        (m_chunkLengths &&
         !IsCounted(m_chunkLengths->length, m_chunkLengths->seen, kChunkLengthBytes)) ||
        (m_chunks && !IsCounted(m_chunks->length, m_chunks->seen, m_placeBytes))) {
        return false;
    }
    const bool areCountsSeen =
        hasAll && m_sizes->seen.size() >= kSizesBegin && m_chunks->seen.size() >= kCountEnd &&
        static_cast<int64_t>(m_chunkLengths->seen.size()) == m_chunkLengths->length;
    return !areCountsSeen || AreChunksFilled(Big32(m_chunks->seen, 4), Big32(m_sizes->seen, 8));
}

// Each entry tells from which chunk on a chunk has so many samples, of which description.
bool SampleTables::AreChunksFilled(uint32_t chunks, uint32_t samples) const {
    const Bytes entries = m_chunkLengths->seen.subspan(kCountEnd);
    uint64_t total = 0;
    uint64_t expectedFirst = 1; // at least
    for (std::size_t at = 0; at < entries.size(); at += kChunkLengthBytes) {
        const uint64_t first = Big32(entries, at);
        const uint64_t length = Big32(entries, at + 4);
        const bool isLast = at + kChunkLengthBytes == entries.size();
        const uint64_t next =
            isLast ? chunks + uint64_t{1} : Big32(entries, at + kChunkLengthBytes);
        if (first < expectedFirst || (at == 0 && first != 1) || next <= first || length == 0 ||
            length > samples || Big32(entries, at + 8) != 1) {
            return false;
        }
        total += (next - first) * length;
        expectedFirst = next;
    }
    return total == samples;
}

} // namespace recorder
