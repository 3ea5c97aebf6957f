#include "platform/taskstatus.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <unistd.h>

namespace {

// The statuses with which RegTaskStart fails.
constexpr int kAnotherRun = 75;
constexpr int kDatabaseFails = 74;
constexpr int kInvalidSettings = 78;

std::string Register() {
    return std::to_string(KRIndex::RegTaskStart());
}

const contract::Probe kRegister("register", Register);

class TaskStatusRegistration : public contract::ContractTest {
protected:
    void TearDown() override { KRIndex::RegTaskDone(); }
};

TEST_F(TaskStatusRegistration, ResetsTheProgress) {
    KRIndex::SetTaskProgress(0.5);

    EXPECT_EQ(KRIndex::RegTaskStart(), 0);

    EXPECT_EQ(KRIndex::GetTaskProgress(), 0.0);
}

TEST_F(TaskStatusRegistration, IsRefusedWhileAnotherRunIsInProgress) {
    ASSERT_EQ(KRIndex::RegTaskStart(), 0);
    KRIndex::SetTaskProgress(0.25);

    EXPECT_EQ(kRegister.Run(), std::to_string(kAnotherRun));

    EXPECT_EQ(KRIndex::GetTaskProgress(), 0.25);
}

TEST_F(TaskStatusRegistration, CantBeRepeatedInTheSameProcess) {
    ASSERT_EQ(KRIndex::RegTaskStart(), 0);

    EXPECT_EQ(KRIndex::RegTaskStart(), kAnotherRun);
}

TEST_F(TaskStatusRegistration, EndsWithRegTaskDone) {
    ASSERT_EQ(KRIndex::RegTaskStart(), 0);
    KRIndex::SetTaskProgress(0.75);

    KRIndex::RegTaskDone();

    EXPECT_EQ(KRIndex::GetTaskProgress(), 0.75);
    EXPECT_EQ(kRegister.Run(), "0");
}

TEST_F(TaskStatusRegistration, EndsWithItsProcess) {
    EXPECT_EQ(kRegister.Run(), "0");

    EXPECT_EQ(kRegister.Run(), "0");
}

TEST_F(TaskStatusRegistration, EndsWhenItsProcessIsKilled) {
    contract::Gate registered;
    contract::Child child([&] {
        if (KRIndex::RegTaskStart() == 0) {
            registered.Open();
        }
        return pause();
    });
    ASSERT_TRUE(registered.Await());
    ASSERT_EQ(KRIndex::RegTaskStart(), kAnotherRun);

    child.Kill();

    EXPECT_EQ(KRIndex::RegTaskStart(), 0);
}

// A parent process that registers, forks a child and ends, like the tool with the option -n.
struct ForkedWorker {
    contract::Gate forked;
    contract::Gate finish;
    contract::Gate finished;
    contract::Child parent;

    explicit ForkedWorker(bool withDone)
        : parent([this, withDone] {
              const int status = KRIndex::RegTaskStart();
              if (fork() == 0) {
                  forked.Open();
                  (void)finish.Await();
                  if (withDone) {
                      KRIndex::RegTaskDone();
                  }
                  finished.Open();
                  _exit(0);
              }
              return status;
          }) {}
};

TEST_F(TaskStatusRegistration, ContinuesInAForkedChildAfterTheParentHasEnded) {
    ForkedWorker worker(false);
    ASSERT_TRUE(worker.forked.Await());
    ASSERT_EQ(worker.parent.Wait(), 0);

    EXPECT_EQ(KRIndex::RegTaskStart(), kAnotherRun);

    worker.finish.Open();
}

TEST_F(TaskStatusRegistration, CanBeEndedByAForkedChild) {
    contract::Gate done;
    ASSERT_EQ(KRIndex::RegTaskStart(), 0);
    contract::Child child([&] {
        KRIndex::RegTaskDone();
        done.Open();
        return pause();
    });
    ASSERT_TRUE(done.Await());

    EXPECT_EQ(kRegister.Run(), "0");
}

TEST_F(TaskStatusRegistration, CanBeEndedByAChildAfterTheParentHasEnded) {
    ForkedWorker worker(true);
    ASSERT_TRUE(worker.forked.Await());
    ASSERT_EQ(worker.parent.Wait(), 0);
    worker.finish.Open();
    ASSERT_TRUE(worker.finished.Await());

    EXPECT_EQ(KRIndex::RegTaskStart(), 0);
}

TEST_F(TaskStatusRegistration, FailsIfTheDatabaseIsDamagedAndReleasesTheLock) {
    world::DamageDatabase(KRDB::DB_SYSTEM);

    EXPECT_EQ(KRIndex::RegTaskStart(), kDatabaseFails);

    EXPECT_FALSE(world::Log().empty());
    world::Reset();
    EXPECT_EQ(KRIndex::RegTaskStart(), 0);
}

TEST_F(TaskStatusRegistration, FailsIfOtherUsersMayWriteTheSettings) {
    world::PutSettings("");
    world::LetOthersWriteSettings();

    EXPECT_EQ(kRegister.Run(), std::to_string(kInvalidSettings));

    EXPECT_THAT(LogLinesWith("may be written by"), testing::SizeIs(1));
}

TEST_F(TaskStatusRegistration, FailsIfTheSettingsAreInvalid) {
    for (const char* const settings : {"unknown_key = 1\n", "[database\n", "snapshot = 7\n"}) {
        world::PutSettings(settings);

        EXPECT_EQ(kRegister.Run(), std::to_string(kInvalidSettings)) << settings;
    }
    world::PutSettings("");
    EXPECT_EQ(kRegister.Run(), "0");
}

} // namespace
