#include "recorder/finding/finding.h"

#include "recorder/support/error.h"
#include "tests/contract/support/execute.h"
#include "tests/contract/support/fixture.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using recorder::Finding;
using recorder::FindingType;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kHostilePath = "20140312AM/it's \"\\\n\xff.mp4";

class Findings : public contract::ContractTest {
protected:
    Findings() {
        world::Write(KRDB::DB_RECORDING,
                     EventSql(1, "20140312AM/one.mp4") + EventSql(2, "20140312AM/two.mp4"));
        world::Write(KRDB::DB_SNAPSHOT, "INSERT INTO snapshot (filename, start_tm, size) "
                                        "VALUES ('front.jpg', 1, 2);");
    }

    static std::string EventSql(int camId, const std::string& path) {
        return "INSERT INTO event (ds_id, camera_id, path, start_tm, end_tm, size, vdo_type, "
               "aud_fmt, img_w, img_h) VALUES (0, " +
               std::to_string(camId) + ", '" + path + "', 1, 2, 3, 4, '', 5, 6);";
    }

    static Finding OfRecording(int camId, const std::string& path, FindingType type,
                               const std::string& detail = "why") {
        Finding finding;
        finding.kind = gszTableEvent;
        finding.camId = camId;
        finding.path = path;
        finding.type = type;
        finding.detail = detail;
        return finding;
    }

    static Finding OfSnapshot() {
        Finding finding = OfRecording(0, "front.jpg", FindingType::Missing);
        finding.kind = gszTableSnapshot;
        return finding;
    }

    // "event 1 20140312AM/one.mp4 size: why"
    static std::vector<std::string> Listed(const recorder::MediaSelection& selection = {}) {
        std::vector<std::string> texts;
        for (const Finding& finding : recorder::ListFindings(selection)) {
            texts.push_back(finding.kind + " " + std::to_string(finding.camId) + " " +
                            finding.path + " " + NameOf(finding.type) + ": " + finding.detail);
        }
        return texts;
    }
};

TEST_F(Findings, AreListedByKindCameraAndPath) {
    recorder::RecordFindings({OfSnapshot(), OfRecording(2, "20140312AM/two.mp4", FindingType::Size),
                              OfRecording(1, "20140312AM/one.mp4", FindingType::Unreadable)},
                             1);
    EXPECT_THAT(Listed(), ElementsAre("event 1 20140312AM/one.mp4 unreadable: why",
                                      "event 2 20140312AM/two.mp4 size: why",
                                      "snapshot 0 front.jpg missing: why"));
    EXPECT_THAT(Listed({.cameras = {2}}), ElementsAre("event 2 20140312AM/two.mp4 size: why"));
    EXPECT_THAT(Listed({.kinds = {gszTableSnapshot}}),
                ElementsAre("snapshot 0 front.jpg missing: why"));
}

TEST_F(Findings, AreRenewedNotRepeated) {
    const Finding finding = OfRecording(1, "20140312AM/one.mp4", FindingType::Size, "1 byte");
    recorder::RecordFindings({finding}, 1);
    world::Write(KRDB::DB_RECORDING, "UPDATE finding SET first_tm = 5, last_tm = 5;");
    Finding again = finding;
    again.detail = "2 bytes";
    again.run = 7;
    recorder::RecordFindings({again}, 2);

    const std::vector<Finding> listed = recorder::ListFindings({});
    ASSERT_EQ(listed.size(), 1U);
    EXPECT_EQ(listed[0].detail, "2 bytes");
    EXPECT_EQ(listed[0].run, 7);
    EXPECT_EQ(listed[0].firstTm, 5);
    EXPECT_GT(listed[0].lastTm, 5);
}

TEST_F(Findings, AreVoidWithoutTheirRow) {
    recorder::RecordFindings({OfRecording(1, "20140312AM/one.mp4", FindingType::Size),
                              OfRecording(1, "20140312AM/none.mp4", FindingType::Size)},
                             1);
    EXPECT_THAT(Listed(), ElementsAre("event 1 20140312AM/one.mp4 size: why"));
    world::Write(KRDB::DB_RECORDING, "DELETE FROM event WHERE camera_id = 1;");
    EXPECT_THAT(Listed(), IsEmpty());
    EXPECT_THAT(recorder::CountFindings({}), IsEmpty());

    recorder::RemoveVoidFindings(gszTableEvent, {});
    EXPECT_THAT(world::Read(KRDB::DB_RECORDING, "SELECT path FROM finding;"), IsEmpty());
}

TEST_F(Findings, OfFoldersNeedNoRow) {
    Finding folder = OfRecording(1, "/volume1/Front/20140312AM", FindingType::Unreadable);
    folder.hasRow = false;
    recorder::RecordFindings({folder}, 1);
    recorder::RemoveVoidFindings(gszTableEvent, {});
    recorder::RemoveVoidFindings(gszTableEvent, {1, 2});
    EXPECT_THAT(Listed(), ElementsAre("event 1 /volume1/Front/20140312AM unreadable: why"));
    recorder::RemoveVoidFindings(gszTableEvent, {2}); // camera 1 was deleted
    EXPECT_THAT(Listed(), IsEmpty());
}

TEST_F(Findings, AreResolvedIfAnExaminationDidNotFindThemAgain) {
    const Finding size = OfRecording(1, "20140312AM/one.mp4", FindingType::Size);
    const Finding length = OfRecording(1, "20140312AM/one.mp4", FindingType::Length);
    const Finding other = OfRecording(2, "20140312AM/two.mp4", FindingType::Size);
    const Finding moved = OfRecording(1, "20140312AM/one.mp4", FindingType::Moved);
    recorder::RecordFindings({size, length, moved, other}, recorder::NewExamination());
    const long examination = recorder::NewExamination();
    recorder::RecordFindings({length}, examination);
    recorder::ResolveFindings(gszTableEvent, 1, {FindingType::Size, FindingType::Length},
                              examination);
    EXPECT_THAT(Listed(), ElementsAre("event 1 20140312AM/one.mp4 length: why",
                                      "event 1 20140312AM/one.mp4 moved: why",
                                      "event 2 20140312AM/two.mp4 size: why"));
    recorder::ResolveFindingsOf(gszTableEvent, 2, "20140312AM/two.mp4", {FindingType::Size});
    EXPECT_THAT(Listed(), ElementsAre("event 1 20140312AM/one.mp4 length: why",
                                      "event 1 20140312AM/one.mp4 moved: why"));
}

TEST_F(Findings, AreCountedByKindCameraAndType) {
    recorder::RecordFindings({OfRecording(1, "20140312AM/one.mp4", FindingType::Size),
                              OfRecording(1, "20140312AM/one.mp4", FindingType::Length)},
                             1);
    long count = 0;
    for (const recorder::FindingCount& found : recorder::CountFindings({})) {
        EXPECT_EQ(found.kind, gszTableEvent);
        EXPECT_EQ(found.camId, 1);
        EXPECT_EQ(found.count, 1);
        ++count;
    }
    EXPECT_EQ(count, 2);
}

TEST_F(Findings, KeepEveryByteOfAPath) {
    world::Write(KRDB::DB_RECORDING, EventSql(3, "kept"));
    Finding finding = OfRecording(3, kHostilePath, FindingType::Size, kHostilePath);
    finding.hasRow = false;
    recorder::RecordFindings({finding}, 1);
    const std::vector<Finding> listed = recorder::ListFindings({});
    ASSERT_EQ(listed.size(), 1U);
    EXPECT_EQ(listed[0].path, kHostilePath);
    EXPECT_EQ(listed[0].detail, kHostilePath);
}

TEST_F(Findings, OfAnUnknownKindAreRefused) {
    Finding finding = OfSnapshot();
    finding.kind = "camera";
    EXPECT_THROW(recorder::RecordFindings({finding}, 1), recorder::Error);
}

TEST(FindingTypes, HaveNames) {
    for (const FindingType type :
         {FindingType::Missing, FindingType::Moved, FindingType::Size, FindingType::NotAFile,
          FindingType::TwoFolders, FindingType::Unreadable, FindingType::Length, FindingType::Codec,
          FindingType::Changed, FindingType::Rot}) {
        EXPECT_EQ(recorder::FindingTypeOf(NameOf(type)), type);
    }
    EXPECT_FALSE(recorder::FindingTypeOf("size ").has_value());
}

} // namespace
