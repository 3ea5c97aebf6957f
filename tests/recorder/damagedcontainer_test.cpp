#include "recorder/container/container.h"

#include "recorder/support/error.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <array>

#include <sys/inotify.h>

namespace {

using namespace std::string_literals;

using recorder::ContainerInfo;
using recorder::ContainerKind;
using testing::HasSubstr;

ContainerInfo Read(const std::string& bytes, ContainerKind kind) {
    recorder::MemorySource source({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
    return recorder::ReadContainer(source, kind);
}

std::string FailureOf(const std::string& bytes, ContainerKind kind) {
    try {
        (void)Read(bytes, kind);
    } catch (const recorder::Error& error) {
        return error.what();
    }
    return "succeeded";
}

std::string BigEndian(uint32_t number) {
    std::string bytes;
    for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
        bytes += static_cast<char>(number >> shift);
    }
    return bytes;
}

uint32_t NumberAt(const std::string& bytes, std::size_t offset) {
    uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number = number << 8U | static_cast<uint8_t>(bytes.at(offset + i));
    }
    return number;
}

// The recording with other bytes at a place within its first box of this type, counted from the
// type.
std::string WithBytes(std::string mp4, const std::string& type, std::size_t offset,
                      const std::string& bytes) {
    return mp4.replace(mp4.rfind(type) + offset, bytes.size(), bytes);
}

// The recording with other content in its first data reference box; the boxes around it grow.
std::string WithDataReference(std::string mp4, const std::string& content) {
    const std::size_t dref = mp4.find("dref", mp4.rfind("moov")) - 4;
    const auto added = static_cast<uint32_t>(content.size()) + 8 - NumberAt(mp4, dref);
    std::size_t box = 0;
    while (box != dref) {
        const std::size_t size = NumberAt(mp4, box);
        if (dref >= box + size) {
            box += size;
            continue;
        }
        mp4.replace(box, 4, BigEndian(static_cast<uint32_t>(size) + added));
        box += 8;
    }
    return mp4.replace(dref, NumberAt(mp4, dref),
                       BigEndian(static_cast<uint32_t>(content.size()) + 8) + "dref" + content);
}

// A data reference that says: the streams' data lie in this file.
std::string ReferenceTo(const std::string& path) {
    const std::string record = "alis"s + std::string(4 + 10 + 1 + 27 + 12 + 1 + 63 + 16, '\0') +
                               "\0\x01\0\x01"s + std::string(16, '\0') + "\0\x02\0"s +
                               static_cast<char>(path.size()) + path +
                               std::string(path.size() % 2, '\0') + "\xff\xff\0\0"s;
    return BigEndian(0) + BigEndian(1) + BigEndian(static_cast<uint32_t>(record.size()) + 4) +
           record;
}

// Tells whether a file is opened by anybody.
class OpenWatch {
public:
    explicit OpenWatch(const std::string& path) : m_fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        EXPECT_GE(inotify_add_watch(m_fd, path.c_str(), IN_OPEN), 0);
    }
    ~OpenWatch() { close(m_fd); }
    OpenWatch(const OpenWatch&) = delete;
    OpenWatch& operator=(const OpenWatch&) = delete;
    OpenWatch(OpenWatch&&) = delete;
    OpenWatch& operator=(OpenWatch&&) = delete;

    [[nodiscard]] bool SawOpening() const {
        std::array<char, 4096> events{};
        return read(m_fd, events.data(), events.size()) > 0;
    }

private:
    int m_fd;
};

class ContainerReference : public contract::ContractTest {};

TEST(ContainerDamage, OfNoBytesIsRefused) {
    for (const ContainerKind kind : {ContainerKind::Mp4, ContainerKind::Avi, ContainerKind::Mxg}) {
        EXPECT_THAT(FailureOf("", kind), HasSubstr("can't read the container"));
    }
}

TEST(ContainerDamage, ThatCutsTheHeaderIsRefused) {
    EXPECT_NE(FailureOf(contract::Media("h264-aac.mp4").substr(0, 1000), ContainerKind::Mp4),
              "succeeded");
    EXPECT_NE(FailureOf(contract::Media("mjpeg-pcm.avi").substr(0, 100), ContainerKind::Avi),
              "succeeded");
}

// A recording that was being written when the power failed still has its first frames.
TEST(ContainerDamage, ThatCutsTheEndLeavesTheRest) {
    const std::string avi = contract::Media("mjpeg-pcm.avi");
    EXPECT_EQ(Read(avi.substr(0, avi.size() / 2), ContainerKind::Avi).width, 320);

    const std::string frames = contract::Media("frames.mxg");
    const ContainerInfo half = Read(frames.substr(0, frames.size() / 2), ContainerKind::Mxg);
    EXPECT_EQ(half.width, 320);
    EXPECT_EQ(half.durationSec, 1);

    const std::string fragmented = contract::Media("fragmented.mp4");
    const ContainerInfo begun =
        Read(fragmented.substr(0, fragmented.size() * 2 / 3), ContainerKind::Mp4);
    EXPECT_EQ(begun.width, 320);
    EXPECT_GE(begun.durationSec, 1);
    EXPECT_LE(begun.durationSec, 2);
}

TEST(ContainerDamage, OfASizeBeyondTheFileIsRefused) {
    const std::string mp4 = contract::Media("h264-aac.mp4");
    std::string absurd = mp4;
    absurd.replace(absurd.find("mdat") - 4, 4, BigEndian(0x7fffffff));

    EXPECT_NE(FailureOf(absurd, ContainerKind::Mp4), "succeeded");
    EXPECT_NE(FailureOf("\xff\xff\xff\xffmoov"s + mp4.substr(8), ContainerKind::Mp4), "succeeded");
}

TEST(ContainerDamage, OfALengthBeyond31BitsIsRefused) {
    const std::string mp4 = contract::Media("h264-aac.mp4");
    constexpr std::size_t kTimeScale = 16; // then the duration in its units

    EXPECT_THAT(FailureOf(WithBytes(mp4, "mvhd", kTimeScale, BigEndian(1) + BigEndian(0x80000000)),
                          ContainerKind::Mp4),
                HasSubstr("expected at most 2147483647 seconds"));
    EXPECT_EQ(Read(WithBytes(mp4, "mvhd", kTimeScale, BigEndian(1) + BigEndian(0x7fffffff)),
                   ContainerKind::Mp4)
                  .durationSec,
              2147483647);
}

TEST(ContainerDamage, OfAnyByteEndsWithAnAnswer) {
    const std::string mp4 = contract::Media("mpeg4.mp4");
    const std::size_t moov = mp4.rfind("moov");
    int refused = 0;
    for (std::size_t offset = moov; offset < mp4.size(); offset += 3) {
        std::string damaged = mp4;
        damaged[offset] = '\xff';
        refused += FailureOf(damaged, ContainerKind::Mp4) == "succeeded" ? 0 : 1;
    }
    EXPECT_GT(refused, 0);
}

TEST_F(ContainerReference, OpensNoOtherFile) {
    contract::PutFile(Scratch("other.mp4"), contract::Media("mpeg4.mp4"));
    const std::string mp4 =
        WithDataReference(contract::Media("h264-aac.mp4"), ReferenceTo(Scratch("other.mp4")));
    contract::PutFile(Scratch("a.mp4"), mp4);
    const OpenWatch watch(Scratch("other.mp4"));

    recorder::FileSource source(Scratch("a.mp4"));
    EXPECT_EQ(recorder::ReadContainer(source, ContainerKind::Mp4).width, 320);

    EXPECT_FALSE(watch.SawOpening());
    // A program that follows such references finds the file.
    contract::OutputOf("ffprobe -v error -enable_drefs 1 -use_absolute_path 1 '" +
                       Scratch("a.mp4") + "' 2>&1 || true");
    EXPECT_TRUE(watch.SawOpening());
}

} // namespace
