#include "bench/floors/mp4.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace floors {

namespace {

constexpr int64_t kUsPerSecond = 1'000'000;

constexpr uint32_t Type(const char (&name)[5]) {
    uint32_t type = 0;
    for (const char c : {name[0], name[1], name[2], name[3]}) {
        type = type << 8 | static_cast<unsigned char>(c);
    }
    return type;
}

class File {
public:
    explicit File(const std::string& path) : m_path(path), m_fd(open(path.c_str(), O_RDONLY)) {
        struct stat64 st = {};
        if (m_fd < 0 || fstat64(m_fd, &st) != 0) {
            throw std::runtime_error("can't open " + path);
        }
        m_size = st.st_size;
    }
    ~File() { close(m_fd); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    File(File&&) = delete;
    File& operator=(File&&) = delete;

    [[nodiscard]] int64_t Size() const { return m_size; }

    // Returns the number of `bytes` bytes at an offset.
    uint64_t Number(int64_t offset, int bytes) {
        if (offset < m_begin || offset + bytes > m_end) {
            m_begin = offset;
            m_end = offset + pread64(m_fd, m_window.data(), m_window.size(), offset);
        }
        if (offset + bytes > m_end) {
            throw std::runtime_error(m_path + " is cut short");
        }
        uint64_t number = 0;
        for (int i = 0; i < bytes; ++i) {
            number = number << 8 | m_window.at(static_cast<std::size_t>(offset - m_begin + i));
        }
        return number;
    }

private:
    std::string m_path;
    int m_fd;
    int64_t m_size = 0;
    std::array<uint8_t, 4096> m_window{};
    int64_t m_begin = 0;
    int64_t m_end = 0;
};

struct Box {
    uint32_t type;
    int64_t content;
    int64_t end;
};

Box BoxAt(File& file, int64_t offset) {
    const auto size = static_cast<int64_t>(file.Number(offset, 4));
    const auto type = static_cast<uint32_t>(file.Number(offset + 4, 4));
    if (size == 1) {
        return {type, offset + 16, offset + static_cast<int64_t>(file.Number(offset + 8, 8))};
    }
    return {type, offset + 8, offset + std::max<int64_t>(size, 8)};
}

class Reader {
public:
    explicit Reader(const std::string& path) : m_file(path) {}

    Mp4 Read() {
        ReadBoxes(0, m_file.Size());
        m_mp4.sizeBytes = m_file.Size();
        m_mp4.durationSec = (m_durationUs + kUsPerSecond / 2) / kUsPerSecond;
        return m_mp4;
    }

private:
    void ReadBoxes(int64_t offset, int64_t end) {
        while (offset < end && !(m_mp4.hasH264 && m_mp4.hasAac)) {
            const Box box = BoxAt(m_file, offset);
            ReadBox(box);
            if (box.type == Type("stsd") || box.type == Type("moov")) {
                return; // only sample tables, or nothing that is needed, can follow
            }
            offset = box.end;
        }
    }

    void ReadBox(const Box& box) {
        switch (box.type) {
        case Type("moov"):
        case Type("trak"):
        case Type("mdia"):
        case Type("minf"):
        case Type("stbl"):
            return ReadBoxes(box.content, box.end);
        case Type("mvhd"):
        case Type("mdhd"):
            return ReadDuration(box.content);
        case Type("stsd"):
            return ReadSampleEntry(box.content + 8);
        default:
            return;
        }
    }

    // Version 1 has times of 64 bits.
    void ReadDuration(int64_t content) {
        const int64_t width = m_file.Number(content, 1) == 1 ? 8 : 4;
        const auto scale = static_cast<int64_t>(m_file.Number(content + 4 + 2 * width, 4));
        const auto length =
            static_cast<int64_t>(m_file.Number(content + 8 + 2 * width, static_cast<int>(width)));
        if (scale > 0) {
            m_durationUs = std::max(m_durationUs, length * kUsPerSecond / scale);
        }
    }

    void ReadSampleEntry(int64_t entry) {
        const auto type = static_cast<uint32_t>(m_file.Number(entry + 4, 4));
        if (type == Type("avc1")) {
            m_mp4.hasH264 = true;
            m_mp4.width = static_cast<int>(m_file.Number(entry + 32, 2));
            m_mp4.height = static_cast<int>(m_file.Number(entry + 34, 2));
        }
        m_mp4.hasAac = m_mp4.hasAac || type == Type("mp4a");
    }

    File m_file;
    Mp4 m_mp4;
    int64_t m_durationUs = 0;
};

} // namespace

Mp4 ReadMp4(const std::string& path) {
    return Reader(path).Read();
}

} // namespace floors
