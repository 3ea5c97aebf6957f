#include "recorder/support/bytesource.h"

#include "recorder/support/error.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>

#include <sys/stat.h>
#include <unistd.h>

namespace recorder {

std::vector<uint8_t> ReadAll(ByteSource& source) {
    std::vector<uint8_t> bytes(static_cast<std::size_t>(source.Size()));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const std::size_t length =
            source.ReadAt(static_cast<int64_t>(filled), std::span(bytes).subspan(filled));
        if (length == 0) {
            break;
        }
        filled += length;
    }
    bytes.resize(filled);
    return bytes;
}

FileSource::FileSource(const std::string& path, int folder)
    : m_path(path), m_file(Uninterrupted([&] {
          return openat(folder, path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
      })) {
    if (!m_file.IsOpen()) {
        throw SystemError("open " + path);
    }
    struct stat64 st = {};
    if (Uninterrupted([&] { return fstat64(m_file.Get(), &st); }) != 0) {
        throw SystemError("stat " + path);
    }
    if (!S_ISREG(st.st_mode)) {
        throw Error("can't read " + path + ": expected a regular file");
    }
    m_size = st.st_size;
}

std::size_t FileSource::ReadAt(int64_t offset, std::span<uint8_t> buffer) {
    const ssize_t length =
        Uninterrupted([&] { return pread64(m_file.Get(), buffer.data(), buffer.size(), offset); });
    if (length < 0) {
        throw SystemError("read " + m_path);
    }
    return static_cast<std::size_t>(length);
}

std::size_t MemorySource::ReadAt(int64_t offset, std::span<uint8_t> buffer) {
    if (offset < 0 || offset >= Size()) {
        return 0;
    }
    const std::span<const uint8_t> rest = m_bytes.subspan(static_cast<std::size_t>(offset));
    const std::size_t length = std::min(rest.size(), buffer.size());
    std::copy_n(rest.begin(), length, buffer.begin());
    return length;
}

} // namespace recorder
