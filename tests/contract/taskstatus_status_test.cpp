#include "platform/taskstatus.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class TaskStatusProgress : public contract::ContractTest {
protected:
    void TearDown() override { KRIndex::RegTaskDone(); }
};
class TaskStatusRecord : public contract::ContractTest {
protected:
    void TearDown() override { KRIndex::RegTaskDone(); }

    static std::vector<world::Row> Record() {
        return world::Read(KRDB::DB_SYSTEM, "SELECT start_tm, recording_count, done FROM task;");
    }
};
class TaskStatusInvalidCamera : public contract::ContractTest {
protected:
    TaskStatusInvalidCamera() {
        world::Write(KRDB::DB_RECORDING, "INSERT INTO event (id, camera_id, path) VALUES "
                                         "(1, 1, 'a'), (2, 2, 'b'), (3, 3, 'c');");
    }

    static std::vector<world::Row> Events() {
        return world::Read(KRDB::DB_RECORDING, "SELECT camera_id FROM event ORDER BY camera_id;");
    }
};

uint64_t BitsOf(double value) {
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

std::string ProgressBits() {
    return std::to_string(BitsOf(KRIndex::GetTaskProgress()));
}

const contract::Probe kProgress("progress", ProgressBits);

TEST_F(TaskStatusProgress, IsZeroBeforeTheFirstRun) {
    EXPECT_EQ(BitsOf(KRIndex::GetTaskProgress()), BitsOf(0.0));

    EXPECT_THAT(world::Log(), IsEmpty());
}

TEST_F(TaskStatusProgress, IsReadBackExactly) {
    const std::array values{0.1,
                            1.0 / 3.0,
                            2.0 / 3.0,
                            std::nextafter(1.0, 0.0),
                            std::nextafter(0.5, 1.0),
                            1.0,
                            0.0,
                            0.1 + 0.2,
                            std::numeric_limits<double>::min(),
                            std::numeric_limits<double>::denorm_min(),
                            0.98765432109876543};
    for (const double value : values) {
        KRIndex::SetTaskProgress(value);

        EXPECT_EQ(BitsOf(KRIndex::GetTaskProgress()), BitsOf(value)) << value;
    }
}

TEST_F(TaskStatusProgress, CanBeReadByOtherProcesses) {
    KRIndex::SetTaskProgress(0.1);

    EXPECT_EQ(kProgress.Run(), std::to_string(BitsOf(0.1)));
}

TEST_F(TaskStatusProgress, IsTheLastOneThatAnyProcessStored) {
    ASSERT_EQ(KRIndex::RegTaskStart(), 0);
    KRIndex::SetTaskProgress(0.1);
    contract::Child child([] {
        KRIndex::SetTaskProgress(0.2);
        return 0;
    });
    ASSERT_EQ(child.Wait(), 0);

    EXPECT_EQ(KRIndex::GetTaskProgress(), 0.2);
}

TEST_F(TaskStatusProgress, CanBeStoredWithoutARegistration) {
    KRIndex::SetTaskProgress(0.5);

    EXPECT_EQ(KRIndex::GetTaskProgress(), 0.5);
}

TEST_F(TaskStatusProgress, IsZeroIfTheDatabaseIsDamaged) {
    KRIndex::SetTaskProgress(0.5);
    world::DamageDatabase(KRDB::DB_SYSTEM);

    EXPECT_EQ(KRIndex::GetTaskProgress(), 0.0);
}

TEST_F(TaskStatusProgress, LogsThatItCantBeStored) {
    world::DamageDatabase(KRDB::DB_SYSTEM);

    KRIndex::SetTaskProgress(0.5);
    KRIndex::SetTaskPid(getpid());
    KRIndex::RecordTaskStatusToConf(1, 2, false);

    EXPECT_THAT(world::Log(), SizeIs(3));
}

TEST_F(TaskStatusRecord, ContainsStartTimeCountAndCompletion) {
    KRIndex::RecordTaskStatusToConf(1394589600, 12, false);

    EXPECT_THAT(Record(), ElementsAre(world::Row{"1394589600", "12", "0"}));
}

TEST_F(TaskStatusRecord, ReplacesThePreviousOne) {
    KRIndex::RecordTaskStatusToConf(1, 2, false);
    KRIndex::RecordTaskStatusToConf(9999999999, 2147483647, true);

    EXPECT_THAT(Record(), ElementsAre(world::Row{"9999999999", "2147483647", "1"}));
}

TEST_F(TaskStatusRecord, IsKeptAfterTheRunHasEnded) {
    ASSERT_EQ(KRIndex::RegTaskStart(), 0);
    KRIndex::RecordTaskStatusToConf(1, 2, true);

    KRIndex::RegTaskDone();

    EXPECT_THAT(Record(), ElementsAre(world::Row{"1", "2", "1"}));
}

TEST_F(TaskStatusRecord, LeavesTheProgressUnchanged) {
    KRIndex::SetTaskProgress(0.5);

    KRIndex::RecordTaskStatusToConf(1, 2, true);

    EXPECT_EQ(KRIndex::GetTaskProgress(), 0.5);
}

TEST_F(TaskStatusRecord, ContainsTheWorkersProcessId) {
    const auto worker = [] { return world::Read(KRDB::DB_SYSTEM, "SELECT pid FROM task;"); };
    ASSERT_EQ(KRIndex::RegTaskStart(), 0);
    EXPECT_THAT(worker(), ElementsAre(world::Row{std::to_string(getpid())}));

    KRIndex::SetTaskPid(4242);

    EXPECT_THAT(worker(), ElementsAre(world::Row{"4242"}));
}

TEST_F(TaskStatusInvalidCamera, RemovesTheRowsOfDeletedCameras) {
    world::AddCamera({.id = 1, .storagePath = "/a"});
    world::AddCamera({.id = 3, .storagePath = "/c", .dsId = 5});

    KRIndex::RmEvtOfInvalidCamId();

    EXPECT_THAT(Events(), ElementsAre(world::Row{"1"}, world::Row{"3"}));
    EXPECT_THAT(world::Log(), IsEmpty());
}

TEST_F(TaskStatusInvalidCamera, RemovesNoRowIfTheCameraTableIsEmpty) {
    KRIndex::RmEvtOfInvalidCamId();

    EXPECT_THAT(Events(), SizeIs(3));
}

TEST_F(TaskStatusInvalidCamera, RemovesNoRowIfTheCameraTableCantBeRead) {
    world::AddCamera({.id = 1, .storagePath = "/a"});
    world::DamageDatabase(KRDB::DB_SYSTEM);

    KRIndex::RmEvtOfInvalidCamId();

    EXPECT_THAT(Events(), SizeIs(3));
    EXPECT_THAT(world::Log(), SizeIs(1));
}

TEST_F(TaskStatusInvalidCamera, LogsThatRowsCantBeRemoved) {
    world::AddCamera({.id = 1, .storagePath = "/a"});
    world::DamageDatabase(KRDB::DB_RECORDING);

    KRIndex::RmEvtOfInvalidCamId();

    EXPECT_THAT(world::Log(), SizeIs(1));
}

TEST_F(TaskStatusInvalidCamera, ComparesCameraIdsInAllTheirBits) {
    world::AddCamera({.id = 1, .storagePath = "/a"});
    world::Write(KRDB::DB_RECORDING,
                 "INSERT INTO event (id, camera_id, path) VALUES (4, 4294967297, 'd');");

    KRIndex::RmEvtOfInvalidCamId();

    EXPECT_THAT(Events(), ElementsAre(world::Row{"1"}));
}

} // namespace
