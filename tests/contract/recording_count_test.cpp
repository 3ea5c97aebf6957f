#include "platform/recording.h"
#include "tests/contract/support/fixture.h"

#include <chrono>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

constexpr long kDay = 86400;
constexpr unsigned long long kOldStamp = 5;

class RecordingCounts : public contract::ContractTest {
protected:
    static std::vector<world::Row> Counts(const std::string& columns = "camera_id, day, count") {
        return world::Read(KRDB::DB_RECORDING,
                           "SELECT " + columns + " FROM recording_count ORDER BY camera_id, day;");
    }

    static void PutEvent(int camId, long startTm) {
        static int number = 0;
        world::Write(KRDB::DB_RECORDING, "INSERT INTO event (camera_id, path, start_tm) VALUES (" +
                                             std::to_string(camId) + ", '" +
                                             std::to_string(++number) + "', " +
                                             std::to_string(startTm) + ");");
    }

    // Stores the rows of the recordings and adds the recordings to the counts, as every caller
    // does.
    int AddStored(const std::list<std::pair<int, long>>& recordings) {
        for (const auto& [camId, startTm] : recordings) {
            PutEvent(camId, startTm);
        }
        return RecordingCount::AddRecCounts(recordings, stamp);
    }

    static void PutCount(int camId, long day, int count) {
        world::Write(KRDB::DB_RECORDING,
                     "INSERT INTO recording_count (camera_id, day, count, stamp) VALUES (" +
                         std::to_string(camId) + ", " + std::to_string(day) + ", " +
                         std::to_string(count) + ", " + std::to_string(kOldStamp) + ");");
    }

    static unsigned long long NowUs() {
        return static_cast<unsigned long long>(
            std::chrono::duration_cast<std::chrono::microseconds>(
                std::chrono::system_clock::now().time_since_epoch())
                .count());
    }

    unsigned long long stamp = kOldStamp;
};

TEST_F(RecordingCounts, AreStoredPerCameraAndDay) {
    EXPECT_EQ(AddStored({{1, 0}, {1, kDay - 1}, {1, kDay}, {2, 0}}), 0);

    EXPECT_THAT(Counts(), ElementsAre(world::Row{"1", "0", "2"}, world::Row{"1", "1", "1"},
                                      world::Row{"2", "0", "1"}));
}

TEST_F(RecordingCounts, AreAddedToExistingCounts) {
    ASSERT_EQ(AddStored({{1, 4}}), 0);

    EXPECT_EQ(AddStored({{1, 5}, {1, 5}}), 0);

    EXPECT_THAT(Counts(), ElementsAre(world::Row{"1", "0", "3"}));
}

TEST_F(RecordingCounts, IgnoreARecordingThatWasAlreadyCounted) {
    ASSERT_EQ(AddStored({{1, 4}}), 0);
    const auto added = Counts("day, count, stamp");

    EXPECT_EQ(RecordingCount::AddRecCounts({{1, 4}}, stamp), 0);

    EXPECT_EQ(Counts("day, count, stamp"), added);
}

TEST_F(RecordingCounts, RoundDaysBeforeTheEpochDown) {
    EXPECT_EQ(AddStored({{1, -1}, {1, -kDay}, {1, -kDay - 1}}), 0);

    EXPECT_THAT(Counts(), ElementsAre(world::Row{"1", "-2", "1"}, world::Row{"1", "-1", "2"}));
}

TEST_F(RecordingCounts, AreStampedWithTheTimeOfTheirUpdate) {
    PutCount(1, 5, 1);
    const unsigned long long before = NowUs();

    ASSERT_EQ(AddStored({{1, 0}}), 0);

    EXPECT_THAT(stamp, AllOf(Ge(before), Le(NowUs())));
    EXPECT_THAT(Counts("day, stamp"), ElementsAre(world::Row{"0", std::to_string(stamp)},
                                                  world::Row{"5", std::to_string(kOldStamp)}));
}

TEST_F(RecordingCounts, AreAllAddedOrNone) {
    world::RefuseRows(KRDB::DB_RECORDING, "recording_count", 2);

    EXPECT_NE(AddStored({{1, 0}, {2, 0}, {3, 0}}), 0);

    EXPECT_THAT(Counts(), IsEmpty());
    EXPECT_EQ(stamp, kOldStamp);
    EXPECT_THAT(world::Log(), SizeIs(1));
}

TEST_F(RecordingCounts, LeaveTheCallersStampUnchangedIfTheyCantBeWritten) {
    world::DamageDatabase(KRDB::DB_RECORDING);

    EXPECT_NE(RecordingCount::AddRecCounts({{1, 0}}, stamp), 0);

    EXPECT_EQ(stamp, kOldStamp);
    EXPECT_THAT(world::Log(), SizeIs(1));
}

TEST_F(RecordingCounts, AcceptAnEmptyListOfRecordings) {
    EXPECT_EQ(RecordingCount::AddRecCounts({}, stamp), 0);

    EXPECT_THAT(Counts(), IsEmpty());
}

TEST_F(RecordingCounts, AreCorrectedByARecount) {
    PutEvent(1, 0);
    PutEvent(1, kDay - 1);
    PutEvent(1, kDay);
    PutEvent(2, -1);
    PutCount(1, 0, 7);
    PutCount(1, 9, 1);
    PutCount(3, 0, 1);

    EXPECT_EQ(RecordingCount::Recount(), 0);

    EXPECT_THAT(Counts(), ElementsAre(world::Row{"1", "0", "2"}, world::Row{"1", "1", "1"},
                                      world::Row{"2", "-1", "1"}));
}

TEST_F(RecordingCounts, AreNotRewrittenByARecountIfTheyAreCorrect) {
    PutEvent(1, 0);
    PutEvent(1, kDay);
    PutEvent(1, -1);
    PutCount(1, 0, 1);
    PutCount(1, 1, 2);
    PutCount(1, -1, 1);
    const unsigned long long before = NowUs();

    EXPECT_EQ(RecordingCount::Recount(), 0);

    const std::vector<world::Row> stamps = Counts("stamp");
    ASSERT_THAT(stamps, SizeIs(3));
    EXPECT_EQ(stamps[0].front(), std::to_string(kOldStamp));
    EXPECT_EQ(stamps[1].front(), std::to_string(kOldStamp));
    EXPECT_GE(std::stoull(stamps[2].front().value()), before);
}

TEST_F(RecordingCounts, AreRemovedByARecountIfTheirDayHasNoRecordings) {
    PutCount(1, 0, 7);

    EXPECT_EQ(RecordingCount::Recount(), 0);

    EXPECT_THAT(Counts(), IsEmpty());
}

TEST_F(RecordingCounts, AreTheSameWhetherAddedOrRecounted) {
    std::list<std::pair<int, long>> recordings;
    for (const long startTm : {-kDay - 1, -kDay, -1L, 0L, kDay - 1, kDay, 1394589600L}) {
        recordings.emplace_back(1, startTm);
        PutEvent(1, startTm);
    }
    ASSERT_EQ(RecordingCount::AddRecCounts(recordings, stamp), 0);
    const auto added = Counts("day, count, stamp");

    EXPECT_EQ(RecordingCount::Recount(), 0);

    EXPECT_EQ(Counts("day, count, stamp"), added);
}

TEST_F(RecordingCounts, AreUnchangedIfARecountFails) {
    PutEvent(1, 0);
    PutEvent(2, 0);
    PutCount(1, 0, 7);
    world::RefuseRows(KRDB::DB_RECORDING, "recording_count", 2);

    EXPECT_NE(RecordingCount::Recount(), 0);

    EXPECT_THAT(Counts(), ElementsAre(world::Row{"1", "0", "7"}));
    EXPECT_THAT(world::Log(), SizeIs(1));
}

TEST_F(RecordingCounts, CountARecordingOfMidnightOnTheDayThatBegins) {
    PutEvent(1, 10 * kDay + 36'000);
    PutEvent(1, 11 * kDay);
    PutEvent(1, 12 * kDay - 1);
    PutEvent(2, -kDay);
    PutEvent(2, 0);

    EXPECT_EQ(RecordingCount::Recount(), 0);

    EXPECT_THAT(Counts(), ElementsAre(world::Row{"1", "10", "1"}, world::Row{"1", "11", "2"},
                                      world::Row{"2", "-1", "1"}, world::Row{"2", "0", "1"}));
}

TEST_F(RecordingCounts, AreRemovedThoughARecordingBeginsAtTheNextMidnight) {
    PutEvent(1, 11 * kDay);
    PutCount(1, 10, 3);

    EXPECT_EQ(RecordingCount::Recount(), 0);

    EXPECT_THAT(Counts(), ElementsAre(world::Row{"1", "11", "1"}));
}

TEST_F(RecordingCounts, DoNotIncludeTheNextMidnightIfTheirDayIsAddedTo) {
    PutEvent(1, 11 * kDay);

    EXPECT_EQ(AddStored({{1, 11 * kDay - 1}}), 0);

    EXPECT_THAT(Counts(), ElementsAre(world::Row{"1", "10", "1"}));
}

} // namespace
