// Containers as bytes in memory.

#pragma once

#include "recorder/support/bytesource.h"

#include <cstdint>
#include <string>

namespace support {

// The source reads from `bytes`, which must outlive it.
inline recorder::MemorySource SourceOf(const std::string& bytes) {
    return recorder::MemorySource({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
}

inline std::string BigEndian(uint32_t number) {
    std::string bytes;
    for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
        bytes += static_cast<char>(number >> shift);
    }
    return bytes;
}

// The big-endian number at this offset.
inline uint32_t NumberAt(const std::string& bytes, std::size_t offset) {
    uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number = number << 8U | static_cast<uint8_t>(bytes.at(offset + i));
    }
    return number;
}

} // namespace support
