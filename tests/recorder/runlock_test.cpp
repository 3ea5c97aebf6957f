#include "recorder/run/runlock.h"

#include "platform/taskstatus.h"
#include "recorder/run/live.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <csignal>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Answer = recorder::RunInProgress::Answer;

using recorder::RunLock;
using testing::ElementsAre;

class RunLockTest : public contract::ContractTest {
protected:
    static std::vector<world::Row> Registered() {
        return world::Read(KRDB::DB_SYSTEM, "SELECT registered FROM task;");
    }
};

TEST_F(RunLockTest, CanBeTakenOnce) {
    const auto lock = RunLock::TryTake();

    ASSERT_TRUE(lock.has_value());
    EXPECT_FALSE(RunLock::TryTake().has_value());
}

TEST_F(RunLockTest, IsFreeAfterItIsReleasedOrDestroyed) {
    auto lock = RunLock::TryTake();
    ASSERT_TRUE(lock.has_value());
    lock->Release();

    EXPECT_TRUE(RunLock::TryTake().has_value());
    EXPECT_TRUE(RunLock::TryTake().has_value());
}

TEST_F(RunLockTest, IsReleasedForAForkedChildToo) {
    auto lock = RunLock::TryTake();
    ASSERT_TRUE(lock.has_value());
    contract::Gate forked;
    contract::Gate finish;
    contract::Child child([&] {
        forked.Open();
        return finish.Await() ? 0 : 1;
    });
    ASSERT_TRUE(forked.Await());

    lock->Release();

    EXPECT_TRUE(RunLock::TryTake().has_value());
    finish.Open();
    EXPECT_EQ(child.Wait(), 0);
}

TEST_F(RunLockTest, RequiresARegularFile) {
    ASSERT_EQ(mkfifo(recorder::kRunLockFile, 0600), 0);
    EXPECT_THROW((void)RunLock::TryTake(), recorder::Error);

    std::filesystem::remove(recorder::kRunLockFile);
    std::filesystem::create_directory(recorder::kRunLockFile);
    EXPECT_THROW((void)RunLock::TryTake(), recorder::Error);
}

TEST_F(RunLockTest, IsNotTakenThroughALink) {
    contract::PutFile(Scratch("precious"));
    std::filesystem::create_symlink(Scratch("precious"), recorder::kRunLockFile);

    EXPECT_THROW((void)RunLock::TryTake(), recorder::Error);
}

TEST_F(RunLockTest, IsShownInTheTaskRow) {
    ASSERT_EQ(KRIndex::RegTaskStart(), 0);
    EXPECT_THAT(Registered(), ElementsAre(world::Row{"1"}));

    KRIndex::RegTaskDone();

    EXPECT_THAT(Registered(), ElementsAre(world::Row{"0"}));
}

TEST_F(RunLockTest, IsNotReleasedByAProcessThatDoesNotHoldIt) {
    contract::Gate registered;
    contract::Gate finish;
    contract::Child run([&] {
        const int status = KRIndex::RegTaskStart();
        registered.Open();
        return finish.Await() ? status : 1;
    });
    ASSERT_TRUE(registered.Await());

    KRIndex::RegTaskDone();

    EXPECT_THAT(Registered(), ElementsAre(world::Row{"1"}));
    finish.Open();
    EXPECT_EQ(run.Wait(), 0);
}

// A run that another process registers.
class RegisteredRun : public RunLockTest {
protected:
    void StartRun() {
        m_run = std::make_unique<contract::Child>([this] {
            const int status = KRIndex::RegTaskStart();
            m_registered.Open();
            return m_finish.Await() ? status : 1;
        });
        ASSERT_TRUE(m_registered.Await());
    }

    static Answer Registered() { return recorder::FindRegisteredRun().answer; }

    contract::Gate m_registered;
    contract::Gate m_finish;
    std::unique_ptr<contract::Child> m_run;
};

TEST_F(RegisteredRun, DoesNotExistBeforeTheFirstRun) {
    EXPECT_EQ(Registered(), Answer::No);
}

TEST_F(RegisteredRun, OfAnotherProcessIsFound) {
    StartRun();

    const recorder::RunInProgress found = recorder::FindRegisteredRun();

    EXPECT_EQ(found.answer, Answer::Yes);
    EXPECT_EQ(found.live.pid, m_run->Pid());
}

TEST_F(RegisteredRun, ExistsWhileItsProcessIsStopped) {
    StartRun();
    ASSERT_EQ(kill(m_run->Pid(), SIGSTOP), 0);

    EXPECT_EQ(Registered(), Answer::Yes);
}

TEST_F(RegisteredRun, DoesNotExistAfterItsProcessWasKilled) {
    StartRun();

    m_run->Kill();
    m_run->Wait();

    EXPECT_EQ(Registered(), Answer::No);
}

// With the option -n the process that took the lock ends, and its child continues.
TEST_F(RegisteredRun, ExistsWhileAForkedChildDoesTheWork) {
    contract::Child parent([this] {
        const int status = KRIndex::RegTaskStart();
        if (fork() == 0) {
            _exit(m_finish.Await() ? 0 : 1);
        }
        return status;
    });
    ASSERT_EQ(parent.Wait(), 0);

    EXPECT_EQ(Registered(), Answer::Yes);
    m_finish.Open();
}

TEST_F(RegisteredRun, DoesNotExistWhileAnUndoHoldsTheLock) {
    const auto undo = RunLock::TryTake();
    ASSERT_TRUE(undo.has_value());

    EXPECT_EQ(Registered(), Answer::No);
}

TEST_F(RegisteredRun, ExistsEvenIfItsRecordIsIncomplete) {
    StartRun();
    contract::PutFile(recorder::kRunLockFile, "edition 7\nrun");

    const recorder::RunInProgress found = recorder::FindRegisteredRun();

    EXPECT_EQ(found.answer, Answer::Yes);
    EXPECT_EQ(found.live.pid, 0);
}

// The incomplete record could be that of a run whose process could not set its mark.
TEST_F(RegisteredRun, IsUnknownIfItsRecordIsIncompleteAndItsMarkCantBeTested) {
    contract::PutFile(recorder::kRunLockFile, "edition 7\nrun");
    EXPECT_EQ(Registered(), Answer::No);
    const recorder::UniqueFd other(open(recorder::kRunLockFile, O_RDWR | O_CLOEXEC));
    struct flock64 mark = {};
    mark.l_type = F_WRLCK;
    mark.l_whence = SEEK_SET;
    mark.l_start = 1;
    mark.l_len = 1;
    ASSERT_EQ(fcntl(other.Get(), F_OFD_SETLK, &mark), 0);

    const recorder::RunInProgress found = recorder::FindRegisteredRun();

    EXPECT_EQ(found.answer, Answer::Unknown);
    EXPECT_THAT(found.why, testing::HasSubstr("can't be read"));
    contract::PutFile(recorder::kRunLockFile, "");
    EXPECT_EQ(Registered(), Answer::No);
}

// A record that is read while it is being written can consist of two editions.
TEST_F(RegisteredRun, IgnoresARecordMadeOfTwoEditions) {
    const auto record = [](long first, long last) {
        return "edition " + std::to_string(first) +
               "\nrun 3\npid 4\nstart 5\nprogress 0.5\nkind event\ncamera 1\nknown 6\n"
               "part_files 7\nfiles 8\nfailures 0\nrefusals 0\nahead 0\nmark 1\nedition " +
               std::to_string(last) + "\n";
    };
    contract::PutFile(recorder::kRunLockFile, record(7, 7));
    ASSERT_TRUE(recorder::ReadLiveRun().has_value());

    contract::PutFile(recorder::kRunLockFile, record(8, 7));

    EXPECT_FALSE(recorder::ReadLiveRun().has_value());
}

TEST_F(RegisteredRun, IsUnknownIfTheLockFileCantBeOpened) {
    std::filesystem::create_symlink(Scratch("elsewhere"), recorder::kRunLockFile);

    const recorder::RunInProgress found = recorder::FindRegisteredRun();

    EXPECT_EQ(found.answer, Answer::Unknown);
    EXPECT_THAT(found.why, testing::HasSubstr("it is a symbolic link"));
}

// A process that may only read the file can still hold a shared lock on it.
TEST_F(RegisteredRun, IsFoundEvenIfAnotherProcessPreventsItsMark) {
    ASSERT_TRUE(RunLock::TryTake().has_value()); // creates the file
    const recorder::UniqueFd reader(open(recorder::kRunLockFile, O_RDONLY | O_CLOEXEC));
    struct flock64 shared = {};
    shared.l_type = F_RDLCK;
    shared.l_whence = SEEK_SET;
    ASSERT_EQ(fcntl(reader.Get(), F_OFD_SETLK, &shared), 0);
    EXPECT_EQ(Registered(), Answer::No);

    StartRun();

    EXPECT_EQ(Registered(), Answer::Yes);
}

} // namespace
