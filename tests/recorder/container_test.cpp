#include "recorder/container/container.h"

#include "tests/contract/support/files.h"
#include "tests/contract/support/process.h"
#include "tests/recorder/support/containerbytes.h"

#include <cmath>
#include <cstdlib>
#include <map>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using recorder::ContainerInfo;
using recorder::ContainerKind;

std::string PathOf(const std::string& media) {
    return std::string(std::getenv("KESTORA_TEST_MEDIA")) + "/" + media;
}

ContainerInfo ReadMedia(const std::string& media) {
    recorder::FileSource source(PathOf(media));
    return recorder::ReadContainer(source, recorder::ContainerKindOf(media).value());
}

// The first line that ffprobe prints with these arguments.
std::string Probe(const std::string& media, const std::string& arguments) {
    std::string text = contract::OutputOf("ffprobe -v error " + arguments +
                                          " -of default=nw=1:nk=1 '" + PathOf(media) + "'");
    return text.substr(0, text.find('\n'));
}

int VideoNumber(const std::string& codec) {
    const std::map<std::string, int> numbers{{"mjpeg", recorder::VIDEO_MJPEG},
                                             {"mpeg4", recorder::VIDEO_MPEG4},
                                             {"h264", recorder::VIDEO_H264},
                                             {"hevc", recorder::VIDEO_H265}};
    return numbers.at(codec);
}

int AudioNumber(const std::string& codec) {
    const std::map<std::string, int> numbers{
        {"", recorder::AUDIO_UNKNOWN},       {"aac", recorder::AUDIO_AAC},
        {"pcm_s16le", recorder::AUDIO_PCM},  {"pcm_mulaw", recorder::AUDIO_G711U},
        {"pcm_alaw", recorder::AUDIO_G711A}, {"mp3", recorder::AUDIO_MP3}};
    return numbers.at(codec);
}

class ContainerMedia : public testing::TestWithParam<const char*> {};

TEST_P(ContainerMedia, IsReadLikeAnotherProgramReadsIt) {
    const std::string media = GetParam();

    const ContainerInfo info = ReadMedia(media);

    EXPECT_EQ(info.durationSec,
              std::lround(std::stod(Probe(media, "-show_entries format=duration"))));
    const auto video = [&](const std::string& entry) {
        return Probe(media, "-select_streams v:0 -show_entries stream=" + entry);
    };
    EXPECT_EQ(info.vdoType, VideoNumber(video("codec_name")));
    EXPECT_EQ(info.width, std::stoi(video("width")));
    EXPECT_EQ(info.height, std::stoi(video("height")));
    EXPECT_EQ(info.audType,
              AudioNumber(Probe(media, "-select_streams a:0 -show_entries stream=codec_name")));
}

INSTANTIATE_TEST_SUITE_P(Mp4, ContainerMedia,
                         testing::Values("h264-aac.mp4", "fragmented.mp4", "mpeg4.mp4",
                                         "h265.mp4"));
INSTANTIATE_TEST_SUITE_P(Avi, ContainerMedia,
                         testing::Values("mjpeg-pcm.avi", "mjpeg-alaw.avi", "mpeg4-mulaw.avi",
                                         "h264-mp3.avi"));

TEST(ContainerFragments, AreCountedWithoutAListOfThem) {
    EXPECT_EQ(ReadMedia("without-end.mp4").durationSec, 5);
}

TEST(ContainerFrames, CountAs25PerSecond) {
    const std::string frames = Probe("frames.mxg", "-f mjpeg -count_packets -show_entries "
                                                   "stream=nb_read_packets");

    const ContainerInfo info = ReadMedia("frames.mxg");

    EXPECT_EQ(info.durationSec, std::lround(std::stod(frames) / 25));
    EXPECT_EQ(info.vdoType, recorder::VIDEO_MJPEG);
    EXPECT_EQ(info.audType, recorder::AUDIO_UNKNOWN);
    EXPECT_EQ(info.width, 320);
    EXPECT_EQ(info.height, 240);
}

TEST(ContainerFrames, AfterEightMebibytesAreEstimatedFromTheFirst) {
    const std::string part = contract::Media("frames.mxg");
    std::string whole;
    while (whole.size() < 20UL * 1024 * 1024) {
        whole += part;
    }
    recorder::MemorySource source = support::SourceOf(whole);

    const ContainerInfo info = recorder::ReadContainer(source, ContainerKind::Mxg);

    const std::size_t copies = whole.size() / part.size();
    const double seconds = 40.0 / 25 * static_cast<double>(copies);
    EXPECT_NEAR(info.durationSec, seconds, 2);
}

TEST(ContainerName, DeterminesTheKindByItsExtension) {
    EXPECT_EQ(recorder::ContainerKindOf("a.mp4"), ContainerKind::Mp4);
    EXPECT_EQ(recorder::ContainerKindOf("/x/a.avi"), ContainerKind::Avi);
    EXPECT_EQ(recorder::ContainerKindOf("a.b.mxg"), ContainerKind::Mxg);
    for (const char* const name : {"a.MP4", "a.mp4.tmp", "mp4", "a.mkv", ""}) {
        EXPECT_EQ(recorder::ContainerKindOf(name), std::nullopt) << name;
    }
}

} // namespace
