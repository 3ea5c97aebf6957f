#include "platform/recording.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"

#include <filesystem>

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::IsEmpty;

constexpr int64_t kStartTm = 1394589600;

class RecordingInfo : public contract::ContractTest {
protected:
    // Creates a recording with these bytes in a half-day folder and reads its properties.
    int Get(const std::string& extension, const std::string& bytes, bool alert = false) {
        path = Scratch("cam/20140312AM/cam-20140312-020000-1394589600." + extension);
        contract::PutFile(path, bytes);
        return Reidx::GetEvtRecInfo(info, path, alert);
    }

    int GetMedia(const std::string& name) {
        return Get(name.substr(name.rfind('.') + 1), contract::Media(name));
    }

    // Expects the properties of a recording whose container can't be read, and one log line.
    void ExpectNameAndStatusOnly(uint64_t size) {
        EXPECT_EQ(info.path, "20140312AM/" + fs::path(path).filename().string());
        EXPECT_EQ(info.size, size);
        EXPECT_EQ(info.startTm, kStartTm);
        EXPECT_EQ(info.endTm, kStartTm);
        EXPECT_EQ(info.duration, 0);
        ASSERT_EQ(world::Log().size(), 1U);
        EXPECT_THAT(world::Log().front(), HasSubstr(path));
    }

    std::string path;
    Reidx::RecInfo info;
};

TEST_F(RecordingInfo, IsReadFromNameFileStatusAndContainer) {
    const std::string bytes = contract::Media("h264-aac.mp4");

    EXPECT_EQ(Get("mp4", bytes), 0);

    EXPECT_EQ(info.path, "20140312AM/cam-20140312-020000-1394589600.mp4");
    EXPECT_EQ(info.size, bytes.size());
    EXPECT_EQ(info.startTm, kStartTm);
    EXPECT_EQ(info.endTm, kStartTm + 3);
    EXPECT_EQ(info.duration, 3);
    EXPECT_EQ(info.vdoType, 3);
    EXPECT_EQ(info.audType, 1);
    EXPECT_EQ(info.imgWidth, 320);
    EXPECT_EQ(info.imgHeight, 240);
    EXPECT_FALSE(info.alert);
    EXPECT_THAT(world::Log(), IsEmpty());
}

TEST_F(RecordingInfo, MarksAnAlertRecording) {
    EXPECT_EQ(Get("mp4", contract::Media("h264-aac.mp4"), true), 0);

    EXPECT_TRUE(info.alert);
}

TEST_F(RecordingInfo, ContainsTheNumbersOfTheCodecs) {
    struct Case {
        const char* media;
        int vdoType;
        int audType;
    };
    for (const Case& given :
         {Case{"mjpeg-pcm.avi", 1, 2}, Case{"mjpeg-alaw.avi", 1, 4}, Case{"mpeg4-mulaw.avi", 2, 3},
          Case{"mpeg4.mp4", 2, 0}, Case{"h264-mp3.avi", 3, 6}, Case{"h265.mp4", 4, 0},
          Case{"frames.mxg", 1, 0}}) {
        info = {};

        EXPECT_EQ(GetMedia(given.media), 0) << given.media;

        EXPECT_EQ(info.vdoType, given.vdoType) << given.media;
        EXPECT_EQ(info.audType, given.audType) << given.media;
        EXPECT_EQ(info.imgWidth, 320) << given.media;
        EXPECT_EQ(info.imgHeight, 240) << given.media;
        EXPECT_EQ(info.duration, 2) << given.media;
        EXPECT_EQ(info.endTm, kStartTm + 2) << given.media;
    }
}

TEST_F(RecordingInfo, ContainsTheRoundedDurationOfAFragmentedRecording) {
    EXPECT_EQ(GetMedia("fragmented.mp4"), 0);

    EXPECT_EQ(info.duration, 3);
    EXPECT_EQ(info.endTm, kStartTm + 3);
}

TEST_F(RecordingInfo, ContainsTheStartTimeOfALockedRecording) {
    path = Scratch("cam/20140312PM/cam-20140312-020000-1394589600-LOCK.mp4");
    contract::PutFile(path, contract::Media("mpeg4.mp4"));

    EXPECT_EQ(Reidx::GetEvtRecInfo(info, path, false), 0);

    EXPECT_EQ(info.path, "20140312PM/cam-20140312-020000-1394589600-LOCK.mp4");
    EXPECT_EQ(info.startTm, kStartTm);
}

TEST_F(RecordingInfo, ContainsAHostilePathUnchanged) {
    path = Scratch("cam/20140312AM/\xff'\n\"\\-20140312-020000-1394589600.mp4");
    contract::PutFile(path, contract::Media("mpeg4.mp4"));

    EXPECT_EQ(Reidx::GetEvtRecInfo(info, path, false), 0);

    EXPECT_EQ(info.path, "20140312AM/\xff'\n\"\\-20140312-020000-1394589600.mp4");
}

TEST_F(RecordingInfo, OfAnEmptyFileComesFromItsNameAndStatus) {
    for (const char* const extension : {"mp4", "avi", "mxg"}) {
        world::Reset();
        info = {};

        EXPECT_NE(Get(extension, ""), 0) << extension;

        ExpectNameAndStatusOnly(0);
    }
}

TEST_F(RecordingInfo, OfAFileThatIsNoContainerComesFromItsNameAndStatus) {
    for (const char* const extension : {"mp4", "avi", "mxg"}) {
        world::Reset();
        info = {};

        EXPECT_NE(Get(extension, std::string(10'000, 'x')), 0) << extension;

        ExpectNameAndStatusOnly(10'000);
    }
}

TEST_F(RecordingInfo, OfATruncatedRecordingComesFromItsNameAndStatus) {
    EXPECT_NE(Get("mp4", contract::Media("h264-aac.mp4").substr(0, 3000)), 0);

    ExpectNameAndStatusOnly(3000);
}

TEST_F(RecordingInfo, IsReadWithTheDemuxerThatTheExtensionNames) {
    const std::string avi = contract::Media("mjpeg-pcm.avi");

    EXPECT_NE(Get("mp4", avi), 0);

    ExpectNameAndStatusOnly(avi.size());
}

TEST_F(RecordingInfo, FailsIfTheRecordingHasNoVideo) {
    EXPECT_NE(GetMedia("sound-only.mp4"), 0);

    EXPECT_EQ(info.startTm, kStartTm);
    EXPECT_EQ(info.endTm, kStartTm);
}

TEST_F(RecordingInfo, FailsForAMissingFileButContainsItsPathAndStartTime) {
    path = Scratch("cam/20140312AM/cam-20140312-020000-1394589600.mp4");

    EXPECT_NE(Reidx::GetEvtRecInfo(info, path, true), 0);

    EXPECT_EQ(info.path, "20140312AM/cam-20140312-020000-1394589600.mp4");
    EXPECT_EQ(info.startTm, 1394589600);
    EXPECT_TRUE(info.alert);
    EXPECT_EQ(info.endTm, info.startTm);
    EXPECT_EQ(world::Log().size(), 1U);
}

TEST_F(RecordingInfo, ContainsTheSizeOfALinksTarget) {
    contract::PutFile(Scratch("elsewhere.mp4"), std::string(10, 'x'));
    path = MakeFolder("cam/20140312AM") + "/cam-20140312-020000-1394589600.mp4";
    fs::create_symlink(Scratch("elsewhere.mp4"), path);

    EXPECT_NE(Reidx::GetEvtRecInfo(info, path, false), 0);

    ExpectNameAndStatusOnly(10);
}

TEST_F(RecordingInfo, FailsForANameWithoutTenDigits) {
    for (const char* const name : {"cam-139458960.mp4", "cam-1394589600x.mp4", "1.mp4", ".mp4"}) {
        info = {};
        path = Scratch(std::string("cam/20140312AM/") + name);
        contract::PutFile(path, contract::Media("mpeg4.mp4"));

        EXPECT_NE(Reidx::GetEvtRecInfo(info, path, false), 0) << name;

        EXPECT_GT(info.size, 0U) << name;
        EXPECT_EQ(info.endTm, info.startTm) << name;
    }
}

TEST_F(RecordingInfo, FailsForOtherExtensions) {
    EXPECT_NE(Get("mkv", contract::Media("mpeg4.mp4")), 0);
    EXPECT_NE(Get("MP4", contract::Media("mpeg4.mp4")), 0);
}

TEST_F(RecordingInfo, DoesNotWaitForAPipe) {
    path = MakeFolder("cam/20140312AM") + "/cam-20140312-020000-1394589600.mp4";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);

    EXPECT_NE(Reidx::GetEvtRecInfo(info, path, false), 0);
}

TEST(RecordingAudio, HasANameForEachCodecNumber) {
    EXPECT_EQ(GetAudioType(1), "AAC");
    EXPECT_EQ(GetAudioType(2), "PCM");
    EXPECT_EQ(GetAudioType(3), "G711U");
    EXPECT_EQ(GetAudioType(4), "G711A");
    EXPECT_EQ(GetAudioType(5), "G726");
    EXPECT_EQ(GetAudioType(6), "MP3");
}

TEST(RecordingAudio, HasNoNameForOtherNumbers) {
    for (const int number : {0, 7, -1, 2147483647}) {
        EXPECT_EQ(GetAudioType(number), "") << number;
    }
}

} // namespace
