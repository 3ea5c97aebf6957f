#include "recorder/container/container.h"

#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"
#include "tests/recorder/support/containerbytes.h"
#include "tests/recorder/support/failure.h"

#include <array>

#include <sys/inotify.h>

namespace {

using namespace std::string_literals;

using recorder::ContainerInfo;
using recorder::ContainerKind;
using support::BigEndian;
using support::NumberAt;
using testing::HasSubstr;

ContainerInfo Read(const std::string& bytes, ContainerKind kind) {
    recorder::MemorySource source = support::SourceOf(bytes);
    return recorder::ReadContainer(source, kind);
}

std::string FailureToRead(const std::string& bytes, ContainerKind kind) {
    return support::FailureOf([&] { (void)Read(bytes, kind); });
}

// The recording with other bytes in its last box of this type. The offset begins at the type.
std::string WithBytes(std::string mp4, const std::string& type, std::size_t offset,
                      const std::string& bytes) {
    return mp4.replace(mp4.rfind(type) + offset, bytes.size(), bytes);
}

// The recording with other content in its first data reference box. The boxes around it are
// resized.
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

// The content of a data reference box that names this file as the place of the streams' data.
std::string ReferenceTo(const std::string& path) {
    const std::string record = "alis"s + std::string(4 + 10 + 1 + 27 + 12 + 1 + 63 + 16, '\0') +
                               "\0\x01\0\x01"s + std::string(16, '\0') + "\0\x02\0"s +
                               static_cast<char>(path.size()) + path +
                               std::string(path.size() % 2, '\0') + "\xff\xff\0\0"s;
    return BigEndian(0) + BigEndian(1) + BigEndian(static_cast<uint32_t>(record.size()) + 4) +
           record;
}

// Watches whether any process opens a file.
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

TEST(ContainerDamage, AnEmptyFileIsRefused) {
    for (const ContainerKind kind : {ContainerKind::Mp4, ContainerKind::Avi, ContainerKind::Mxg}) {
        EXPECT_THAT(FailureToRead("", kind), HasSubstr("can't read the container"));
    }
}

TEST(ContainerDamage, ATruncatedHeaderIsRefused) {
    EXPECT_NE(FailureToRead(contract::Media("h264-aac.mp4").substr(0, 1000), ContainerKind::Mp4),
              "none");
    EXPECT_NE(FailureToRead(contract::Media("mjpeg-pcm.avi").substr(0, 100), ContainerKind::Avi),
              "none");
}

// A recording that was interrupted by a power failure still contains its first frames.
TEST(ContainerDamage, ATruncatedEndLeavesTheRestReadable) {
    const std::string avi = contract::Media("mjpeg-pcm.avi");
    EXPECT_EQ(Read(avi.substr(0, avi.size() / 2), ContainerKind::Avi).width, 320);

    const std::string frames = contract::Media("frames.mxg");
    const ContainerInfo half = Read(frames.substr(0, frames.size() / 2), ContainerKind::Mxg);
    EXPECT_EQ(half.width, 320);
    EXPECT_EQ(half.durationSec, 1);

    const std::string fragmented = contract::Media("fragmented.mp4");
    const ContainerInfo beginning =
        Read(fragmented.substr(0, fragmented.size() * 2 / 3), ContainerKind::Mp4);
    EXPECT_EQ(beginning.width, 320);
    EXPECT_GE(beginning.durationSec, 1);
    EXPECT_LE(beginning.durationSec, 2);
}

TEST(ContainerDamage, ASizeLargerThanTheFileIsRefused) {
    const std::string mp4 = contract::Media("h264-aac.mp4");
    std::string absurd = mp4;
    absurd.replace(absurd.find("mdat") - 4, 4, BigEndian(0x7fffffff));

    EXPECT_NE(FailureToRead(absurd, ContainerKind::Mp4), "none");
    EXPECT_NE(FailureToRead("\xff\xff\xff\xffmoov"s + mp4.substr(8), ContainerKind::Mp4), "none");
}

TEST(ContainerDamage, ADurationLargerThan31BitsIsRefused) {
    const std::string mp4 = contract::Media("h264-aac.mp4");
    constexpr std::size_t kTimeScale = 16; // followed by the duration in this unit

    EXPECT_THAT(
        FailureToRead(WithBytes(mp4, "mvhd", kTimeScale, BigEndian(1) + BigEndian(0x80000000)),
                      ContainerKind::Mp4),
        HasSubstr("expected at most 2147483647 seconds"));
    EXPECT_EQ(Read(WithBytes(mp4, "mvhd", kTimeScale, BigEndian(1) + BigEndian(0x7fffffff)),
                   ContainerKind::Mp4)
                  .durationSec,
              2147483647);
}

TEST(ContainerDamage, ADamagedByteNeverCrashesTheReader) {
    const std::string mp4 = contract::Media("mpeg4.mp4");
    const std::size_t moov = mp4.rfind("moov");
    int refused = 0;
    for (std::size_t offset = moov; offset < mp4.size(); offset += 3) {
        std::string damaged = mp4;
        damaged[offset] = '\xff';
        refused += FailureToRead(damaged, ContainerKind::Mp4) == "none" ? 0 : 1;
    }
    EXPECT_GT(refused, 0);
}

TEST_F(ContainerReference, ToAnotherFileIsNotFollowed) {
    contract::PutFile(Scratch("other.mp4"), contract::Media("mpeg4.mp4"));
    const std::string mp4 =
        WithDataReference(contract::Media("h264-aac.mp4"), ReferenceTo(Scratch("other.mp4")));
    contract::PutFile(Scratch("a.mp4"), mp4);
    const OpenWatch watch(Scratch("other.mp4"));

    recorder::FileSource source(Scratch("a.mp4"));
    EXPECT_EQ(recorder::ReadContainer(source, ContainerKind::Mp4).width, 320);

    EXPECT_FALSE(watch.SawOpening());
    // The reference is valid: a program that follows references opens the file.
    contract::OutputOf("ffprobe -v error -enable_drefs 1 -use_absolute_path 1 '" +
                       Scratch("a.mp4") + "' 2>&1 || true");
    EXPECT_TRUE(watch.SawOpening());
}

} // namespace
