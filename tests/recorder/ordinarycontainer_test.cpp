// The readers of ordinary recordings' headers read every ordinary recording, and never give another
// answer than libavformat.

#include "recorder/container/container.h"
#include "recorder/support/error.h"
#include "tests/contract/support/files.h"
#include "tests/recorder/support/containerbytes.h"

#include <filesystem>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace recorder {

bool operator==(const ContainerInfo& one, const ContainerInfo& other) {
    return one.durationSec == other.durationSec && one.vdoType == other.vdoType &&
           one.audType == other.audType && one.width == other.width && one.height == other.height;
}

void PrintTo(const ContainerInfo& info, std::ostream* stream) {
    *stream << info.durationSec << " s, video " << info.vdoType << ", audio " << info.audType
            << ", " << info.width << " x " << info.height;
}

} // namespace recorder

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

using recorder::ContainerInfo;
using recorder::ContainerKind;
using support::BigEndian;
using support::NumberAt;
using support::SourceOf;
using testing::Optional;

std::optional<ContainerInfo> ReadHeader(const std::string& bytes, ContainerKind kind) {
    recorder::MemorySource source = SourceOf(bytes);
    return recorder::ReadContainerHeader(source, kind);
}

// The answer of libavformat; nothing if it refuses the container.
std::optional<ContainerInfo> ReadByLibavformat(const std::string& bytes, ContainerKind kind) {
    recorder::MemorySource source = SourceOf(bytes);
    try {
        return recorder::ReadAvContainer(source, kind);
    } catch (const recorder::Error&) {
        return std::nullopt;
    }
}

// The names of the recordings in a folder of the media, with the folder.
std::vector<std::string> RecordingsIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(std::getenv("KESTORA_TEST_MEDIA") + folder)) {
        const std::string name = entry.path().filename();
        if (name.ends_with(".mp4") || name.ends_with(".avi")) {
            names.push_back(folder.empty() ? name : folder.substr(1) + "/" + name);
        }
    }
    return names;
}

ContainerKind KindOf(const std::string& name) {
    return recorder::ContainerKindOf(name).value();
}

std::string LittleEndian(uint32_t number) {
    const std::string bytes = BigEndian(number);
    return {bytes.rbegin(), bytes.rend()};
}

std::string BoxOf(const std::string& type, const std::string& content) {
    return BigEndian(static_cast<uint32_t>(content.size()) + 8) + type + content;
}

// The recording with other bytes in its first box or chunk of this type. The offset begins at the
// type.
std::string WithBytes(std::string bytes, const std::string& type, std::size_t offset,
                      const std::string& others) {
    const std::size_t at = bytes.find(type, std::min(bytes.find("moov"), bytes.find("hdrl")));
    return bytes.replace((at == std::string::npos ? bytes.find(type) : at) + offset, others.size(),
                         others);
}

// The recording with its last box of this type replaced. The boxes around it are resized.
std::string WithBox(std::string mp4, const std::string& type, const std::string& box) {
    const std::size_t at = mp4.rfind(type) - 4;
    const uint32_t size = NumberAt(mp4, at);
    for (const char* const outer :
         {"moov", "trak", "edts", "mdia", "minf", "stbl", "stsd", "mp4a"}) {
        const std::size_t name = mp4.rfind(outer, at);
        if (name == std::string::npos) {
            continue;
        }
        const std::size_t begin = name - 4;
        const uint32_t outerSize = NumberAt(mp4, begin);
        if (begin + outerSize > at) {
            mp4.replace(begin, 4, BigEndian(outerSize + static_cast<uint32_t>(box.size()) - size));
        }
    }
    return mp4.replace(at, size, box);
}

std::string OrdinaryMp4() {
    return contract::Media("ordinary/h264-aac.mp4");
}

std::string OrdinaryAvi() {
    return contract::Media("ordinary/h264-libmp3lame.avi");
}

// Pseudo-random numbers, the same in every run of the test.
class Numbers {
public:
    uint32_t Below(uint32_t end) {
        m_state = m_state * 1'664'525 + 1'013'904'223;
        return (m_state >> 8U) % end;
    }

private:
    uint32_t m_state = 1;
};

// Records which ranges of a recording are read.
class RangeRecorder : public recorder::ByteSource {
public:
    struct Range {
        int64_t begin;
        int64_t end;
    };

    explicit RangeRecorder(const std::string& bytes) : m_source(SourceOf(bytes)) {}

    [[nodiscard]] int64_t Size() const override { return m_source.Size(); }
    [[nodiscard]] std::size_t ReadAt(int64_t offset, std::span<uint8_t> buffer) override {
        const std::size_t length = m_source.ReadAt(offset, buffer);
        m_ranges.push_back({offset, offset + static_cast<int64_t>(length)});
        return length;
    }

    [[nodiscard]] const std::vector<Range>& Ranges() const { return m_ranges; }

private:
    recorder::MemorySource m_source;
    std::vector<Range> m_ranges;
};

TEST(ContainerHeaders, OfOrdinaryRecordingsAreReadLikeLibavformat) {
    const std::vector<std::string> names = RecordingsIn("/ordinary");
    EXPECT_GE(names.size(), 24U);
    for (const std::string& name : names) {
        const std::string bytes = contract::Media(name);
        const std::optional<ContainerInfo> expected = ReadByLibavformat(bytes, KindOf(name));
        ASSERT_TRUE(expected) << name;
        EXPECT_THAT(ReadHeader(bytes, KindOf(name)), Optional(*expected)) << name;
    }
}

TEST(ContainerHeaders, OfUnusualRecordingsAreLeftToLibavformat) {
    const std::vector<std::string> names = RecordingsIn("/unusual");
    EXPECT_GE(names.size(), 12U);
    for (const std::string& name : names) {
        EXPECT_EQ(ReadHeader(contract::Media(name), KindOf(name)), std::nullopt) << name;
    }
}

TEST(ContainerHeaders, NeverContradictLibavformat) {
    int answers = 0;
    for (const std::string& name : RecordingsIn("")) {
        const std::string bytes = contract::Media(name);
        if (const std::optional<ContainerInfo> info = ReadHeader(bytes, KindOf(name))) {
            EXPECT_EQ(info, ReadByLibavformat(bytes, KindOf(name))) << name;
            ++answers;
        }
    }
    EXPECT_GT(answers, 0);
}

TEST(ContainerHeaders, DistinguishMulawAndAlawSound) {
    const std::string rates = BoxOf("btrt", std::string(12, '\0'));
    for (const char* const law : {"ulaw", "alaw"}) {
        const std::string mp4 = WithBytes(WithBox(OrdinaryMp4(), "esds", rates), "mp4a", 0, law);
        const std::optional<ContainerInfo> expected = ReadByLibavformat(mp4, ContainerKind::Mp4);
        ASSERT_TRUE(expected) << law;
        EXPECT_EQ(expected->audType, law == "ulaw"s ? 3 : 4);
        EXPECT_THAT(ReadHeader(mp4, ContainerKind::Mp4), Optional(*expected)) << law;
    }
}

TEST(ContainerHeaders, AreFoundAfterSamplesWithA64BitSize) {
    std::string mp4 = OrdinaryMp4();
    const std::size_t mdat = mp4.find("mdat") - 4;
    const uint32_t size = NumberAt(mp4, mdat);
    // The muxer leaves eight bytes for the larger size.
    mp4.replace(mdat - 8, 16, BigEndian(1) + "mdat" + BigEndian(0) + BigEndian(size + 8));

    EXPECT_THAT(ReadHeader(mp4, ContainerKind::Mp4),
                Optional(ReadByLibavformat(mp4, ContainerKind::Mp4).value()));
}

TEST(ContainerHeaders, OfTruncatedRecordingsAreLeftToLibavformat) {
    for (const std::string& bytes : {OrdinaryMp4(), contract::Media("ordinary/index-first.mp4")}) {
        for (std::size_t size = 0; size < bytes.size(); size += 7) {
            EXPECT_EQ(ReadHeader(bytes.substr(0, size), ContainerKind::Mp4), std::nullopt) << size;
        }
    }
    const std::string avi = OrdinaryAvi();
    for (std::size_t size = 0; size < avi.size(); size += 7) {
        EXPECT_EQ(ReadHeader(avi.substr(0, size), ContainerKind::Avi), std::nullopt) << size;
    }
}

TEST(ContainerHeaders, WithADamagedByteNeverContradictLibavformat) {
    const auto expectSame = [](std::string bytes, std::size_t begin, std::size_t end,
                               ContainerKind kind) {
        int answers = 0;
        for (std::size_t at = begin; at < end; ++at) {
            const char intact = bytes[at];
            for (const char damage : {'\xff', '\0'}) {
                bytes[at] = damage;
                const std::optional<ContainerInfo> info = ReadHeader(bytes, kind);
                // The header readers don't notice damage in the tables, where libavformat refuses.
                const std::optional<ContainerInfo> expected =
                    info ? ReadByLibavformat(bytes, kind) : info;
                EXPECT_TRUE(!expected || *info == *expected) << "byte " << at;
                answers += expected ? 1 : 0;
            }
            bytes[at] = intact;
        }
        EXPECT_GT(answers, 0);
    };
    const std::string mp4 = OrdinaryMp4();
    expectSame(mp4, 0, 64, ContainerKind::Mp4);
    expectSame(mp4, mp4.rfind("moov") - 4, mp4.size(), ContainerKind::Mp4);
    const std::string avi = OrdinaryAvi();
    expectSame(avi, 0, avi.find("movi") + 4, ContainerKind::Avi);
}

TEST(ContainerHeaders, WithAnyMp4DurationsNeverContradictLibavformat) {
    const std::string mp4 = WithBox(OrdinaryMp4(), "esds", BoxOf("btrt", std::string(12, '\0')));
    Numbers numbers;
    int answers = 0;
    for (int i = 0; i < 400; ++i) {
        const uint32_t scale = 1 + numbers.Below(100'000);
        const uint32_t halves = scale * (5 + numbers.Below(4)) / 2;
        const auto around = [&] {
            return BigEndian(scale) + BigEndian(halves - 2 + numbers.Below(5));
        };
        std::string given = WithBytes(mp4, "mvhd", 16, around());
        given = WithBytes(given, "mdhd", 16, around());
        given = WithBytes(given, "elst", 12, BigEndian(halves - 2 + numbers.Below(5)));
        given = WithBytes(given, "mp4a", 0, "ulaw");
        if (const std::optional<ContainerInfo> info = ReadHeader(given, ContainerKind::Mp4)) {
            EXPECT_EQ(info, ReadByLibavformat(given, ContainerKind::Mp4)) << scale << " " << halves;
            ++answers;
        }
    }
    EXPECT_GT(answers, 100);
}

TEST(ContainerHeaders, WithAnyAviDurationsNeverContradictLibavformat) {
    Numbers numbers;
    int answers = 0;
    for (int i = 0; i < 400; ++i) {
        const uint32_t scale = 1 + numbers.Below(2000);
        const uint32_t rate = 1 + numbers.Below(100'000);
        const uint32_t frames = numbers.Below(1'000'000);
        const std::string given = WithBytes(OrdinaryAvi(), "vids", 20,
                                            LittleEndian(scale) + LittleEndian(rate) +
                                                LittleEndian(0) + LittleEndian(frames));
        if (const std::optional<ContainerInfo> info = ReadHeader(given, ContainerKind::Avi)) {
            EXPECT_EQ(info, ReadByLibavformat(given, ContainerKind::Avi)) << scale << " " << rate;
            ++answers;
        }
    }
    EXPECT_GT(answers, 100);
}

struct Variant {
    const char* what;
    const char* type; // the box or chunk to change
    std::size_t offset;
    std::string bytes;
};

TEST(ContainerHeaders, OfUnusualMp4AreLeftToLibavformat) {
    const Variant variants[] = {
        {"another format's brand", "ftyp", 4, "qt  "},
        {"a box to the file's end", "moov", std::size_t{0} - 4, BigEndian(0)},
        {"compressed headers", "mvhd", 0, "cmov"},
        {"fragments to follow", "udta", 0, "mvex"},
        {"no length", "mvhd", 20, BigEndian(0)},
        {"an unknown length", "mvhd", 20, BigEndian(0xffffffff)},
        {"a length larger than 31 bits", "mvhd", 16, BigEndian(1) + BigEndian(0x80000000)},
        {"an unknown version", "mvhd", 4, "\x02"},
        {"no scale", "mdhd", 16, BigEndian(0)},
        {"a track of another kind", "vide", 0, "text"},
        {"incomplete edits", "elst", 8, BigEndian(9)},
        {"samples in another file", "url ", 4, BigEndian(0)},
        {"two descriptions", "stsd", 8, BigEndian(2)},
        {"encrypted pictures", "avc1", 0, "encv"},
        {"encrypted sound", "mp4a", 0, "enca"},
        {"an unknown codec", "avc1", 0, "xyz1"},
        {"a codec without its configuration", "avcC", 0, "free"},
        {"no width", "avc1", 28, std::string(2, '\0')},
        {"a palette", "avc1", 78, std::string("\0\x08\0\0", 4)},
        {"a box of another kind among the tables", "stts", 0, "mvhd"},
    };
    for (const Variant& given : variants) {
        const std::string mp4 = WithBytes(OrdinaryMp4(), given.type, given.offset, given.bytes);
        EXPECT_NE(mp4, OrdinaryMp4()) << given.what;
        EXPECT_EQ(ReadHeader(mp4, ContainerKind::Mp4), std::nullopt) << given.what;
    }
    EXPECT_EQ(ReadHeader(OrdinaryMp4() + BoxOf("uuid", std::string(16, 'x')), ContainerKind::Mp4),
              std::nullopt);
    EXPECT_EQ(ReadHeader(OrdinaryMp4() + "\0\0\0"s, ContainerKind::Mp4), std::nullopt);
}

// Only its tables contain its real length.
TEST(ContainerHeaders, WithATrackLongerThanTheMovieAreLeftToLibavformat) {
    const std::string mp4 = contract::Media("ordinary/no-edits.mp4");
    ASSERT_TRUE(ReadHeader(mp4, ContainerKind::Mp4));

    EXPECT_EQ(ReadHeader(WithBytes(mp4, "mdhd", 20, BigEndian(0x7fffffff)), ContainerKind::Mp4),
              std::nullopt);
}

TEST(ContainerHeaders, WithATrackShortenedToTheMovieByItsEditsAreReadByKrcontainers) {
    const std::string mp4 = WithBytes(OrdinaryMp4(), "mdhd", 20, BigEndian(0x7fffffff));
    recorder::MemorySource source = SourceOf(mp4);

    EXPECT_EQ(ReadHeader(mp4, ContainerKind::Mp4), std::nullopt);
    EXPECT_EQ(recorder::ReadContainer(source, ContainerKind::Mp4),
              ReadByLibavformat(OrdinaryMp4(), ContainerKind::Mp4));
}

TEST(ContainerHeaders, OfUnusualRecordingsAreReadByKrcontainersAsByLibavformat) {
    int answers = 0;
    for (const std::string& name : RecordingsIn("/unusual")) {
        const std::string bytes = contract::Media(name);
        recorder::MemorySource source = SourceOf(bytes);
        if (const auto expected = ReadByLibavformat(bytes, KindOf(name))) {
            EXPECT_EQ(recorder::ReadContainer(source, KindOf(name)), *expected) << name;
            ++answers;
        }
    }
    EXPECT_GE(answers, 9);
}

// GStreamer writes the name of the encoder into each track.
TEST(ContainerHeaders, WithTagsInATrackSayWhatLibavformatSays) {
    const std::string handler =
        BoxOf("hdlr", std::string(8, '\0') + "mdir" + std::string(13, '\0'));
    const std::string tag = BoxOf("\xa9too", BoxOf("data", BigEndian(1) + BigEndian(0) + "x264"));
    const std::string tags =
        BoxOf("udta", BoxOf("meta", std::string(4, '\0') + handler + BoxOf("ilst", tag)));
    for (const char* const name : {"ordinary/h264.mp4", "ordinary/h264-aac.mp4"}) {
        const std::string plain = contract::Media(name);
        const std::size_t media = plain.rfind("mdia") - 4;
        const std::string mp4 =
            WithBox(plain, "mdia", plain.substr(media, NumberAt(plain, media)) + tags);

        EXPECT_THAT(ReadHeader(mp4, ContainerKind::Mp4),
                    Optional(ReadByLibavformat(mp4, ContainerKind::Mp4).value()))
            << name;
    }
}

TEST(ContainerHeaders, OfUnusualAviAreLeftToLibavformat) {
    const Variant variants[] = {
        {"a length larger than the file", "RIFF", 4, LittleEndian(0x7fffffff)},
        {"more frames than the file has", "movi", std::size_t{0} - 4, LittleEndian(0x7fffffff)},
        {"another stream", "vids", 0, "txts"},
        {"another sound codec under the name of PCM", "auds", 4, "Axan"},
        {"no scale", "vids", 20, LittleEndian(0)},
        {"no rate", "vids", 24, LittleEndian(0)},
        {"no width", "strf", 12, LittleEndian(0)},
        {"a picture upside down", "strf", 16, LittleEndian(0xffffff10)},
        {"a palette", "strf", 22, "\x08"},
        {"an unknown codec", "strf", 24, "XYZ1"},
    };
    for (const Variant& given : variants) {
        std::string avi = OrdinaryAvi();
        avi = given.type == "RIFF"s ? avi.replace(4, 4, given.bytes)
                                    : WithBytes(avi, given.type, given.offset, given.bytes);
        EXPECT_NE(avi, OrdinaryAvi()) << given.what;
        EXPECT_EQ(ReadHeader(avi, ContainerKind::Avi), std::nullopt) << given.what;
    }
}

TEST(ContainerHeaders, OfMp4AreReadInThreeBlocksWithoutTheTables) {
    for (const char* const name : {"ordinary/ten-minutes.mp4", "ordinary/ten-minutes-first.mp4"}) {
        const std::string bytes = contract::Media(name);
        RangeRecorder source(bytes);

        const ContainerInfo info = recorder::ReadContainer(source, ContainerKind::Mp4);

        EXPECT_EQ(info, ReadByLibavformat(bytes, ContainerKind::Mp4).value()) << name;
        EXPECT_LE(source.Ranges().size(), 3U) << name;
        const auto sizes = static_cast<int64_t>(bytes.find("stsz", bytes.find("moov")));
        const int64_t count = NumberAt(bytes, static_cast<std::size_t>(sizes) + 12);
        EXPECT_GT(count, 14'000) << name;
        for (const RangeRecorder::Range& range : source.Ranges()) {
            EXPECT_TRUE(range.end <= sizes + 4096 || range.begin >= sizes + 4 * count)
                << name << " " << range.begin << " " << range.end;
        }
    }
}

// A recording of ten minutes whose last table is larger than a block, followed by tags with a title
// of this many letters.
std::string WithDistantTags(std::size_t letters) {
    constexpr std::size_t kMoreThanABlock = 70'000;
    const std::string tenMinutes = contract::Media("ordinary/ten-minutes.mp4");
    const std::string free = BoxOf("free", std::string(kMoreThanABlock, '\0'));
    const std::size_t chunks = tenMinutes.rfind("stco") - 4;
    const std::string mp4 =
        WithBox(tenMinutes, "stco", tenMinutes.substr(chunks, NumberAt(tenMinutes, chunks)) + free);
    const std::string title =
        BoxOf("\xa9nam", BoxOf("data", BigEndian(1) + BigEndian(0) + std::string(letters, 'a')));
    const std::string handler =
        BoxOf("hdlr", std::string(8, '\0') + "mdirappl" + std::string(9, '\0'));
    return WithBox(
        mp4, "udta",
        BoxOf("udta", BoxOf("meta", std::string(4, '\0') + handler + BoxOf("ilst", title))));
}

TEST(ContainerHeaders, OfMp4AreReadInThreeBlocksAlsoWithDistantTags) {
    const std::string mp4 = WithDistantTags(8);
    RangeRecorder source(mp4);

    EXPECT_THAT(recorder::ReadMp4Header(source),
                Optional(ReadByLibavformat(mp4, ContainerKind::Mp4).value()));

    EXPECT_EQ(source.Ranges().size(), 3U);
}

TEST(ContainerHeaders, OfMp4AreReadToTheEndIfAnotherTrackCouldFollow) {
    const std::string mp4 = WithDistantTags(100);
    RangeRecorder source(mp4);

    EXPECT_THAT(recorder::ReadMp4Header(source),
                Optional(ReadByLibavformat(mp4, ContainerKind::Mp4).value()));

    EXPECT_EQ(source.Ranges().back().end, static_cast<int64_t>(mp4.size()));
}

TEST(ContainerHeaders, OfAviAreReadInTwoBlocks) {
    for (const std::string& name : RecordingsIn("/ordinary")) {
        if (name.ends_with(".avi")) {
            const std::string bytes = contract::Media(name);
            RangeRecorder source(bytes);

            (void)recorder::ReadContainer(source, ContainerKind::Avi);

            EXPECT_LE(source.Ranges().size(), 2U) << name;
        }
    }
}

// Every read fails, like on a failing disk.
class FailingSource : public recorder::ByteSource {
public:
    [[nodiscard]] int64_t Size() const override { return 1'000'000; }
    [[nodiscard]] std::size_t ReadAt(int64_t /*offset*/, std::span<uint8_t> /*buffer*/) override {
        ++reads;
        throw recorder::Error("can't read a: Input/output error");
    }

    int reads = 0;
};

TEST(ContainerHeaders, AreNotReadTwiceAfterAReadError) {
    for (const ContainerKind kind : {ContainerKind::Mp4, ContainerKind::Avi}) {
        FailingSource source;

        EXPECT_THROW((void)recorder::ReadContainer(source, kind), recorder::Error);

        EXPECT_EQ(source.reads, 1);
    }
}

} // namespace
