// The bytes of a recording, from a file or from memory.

#pragma once

#include "recorder/support/uniquefd.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <fcntl.h>

namespace recorder {

class ByteSource {
public:
    virtual ~ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    ByteSource(ByteSource&&) = delete;
    ByteSource& operator=(ByteSource&&) = delete;

    // The size in bytes when the source was opened.
    [[nodiscard]] virtual int64_t Size() const = 0;

    // Reads from `offset` into `buffer`. Returns the number of bytes read, 0 at the end. Throws
    // Error.
    [[nodiscard]] virtual std::size_t ReadAt(int64_t offset, std::span<uint8_t> buffer) = 0;

protected:
    ByteSource() = default;
};

// Reads all bytes, at most Size() of them; fewer if a file was shortened in the meantime. Throws
// Error.
[[nodiscard]] std::vector<uint8_t> ReadAll(ByteSource& source);

class FileSource : public ByteSource {
public:
    // Opens a regular file; a relative path is one in the open folder `folder`. Follows no link,
    // and does not block if the path is a FIFO. Throws Error.
    explicit FileSource(const std::string& path, int folder = AT_FDCWD);

    [[nodiscard]] int64_t Size() const override { return m_size; }
    [[nodiscard]] std::size_t ReadAt(int64_t offset, std::span<uint8_t> buffer) override;

private:
    std::string m_path;
    UniqueFd m_file;
    int64_t m_size = 0;
};

// The bytes must outlive the source.
class MemorySource : public ByteSource {
public:
    explicit MemorySource(std::span<const uint8_t> bytes) : m_bytes(bytes) {}

    [[nodiscard]] int64_t Size() const override { return static_cast<int64_t>(m_bytes.size()); }
    [[nodiscard]] std::size_t ReadAt(int64_t offset, std::span<uint8_t> buffer) override;

private:
    std::span<const uint8_t> m_bytes;
};

} // namespace recorder
