#include "recorder/run/runlock.h"

#include "platform/taskstatus.h"
#include "recorder/support/error.h"
#include "recorder/support/paths.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <sys/stat.h>

namespace {

using recorder::RunLock;
using testing::ElementsAre;

class RunLockTest : public contract::ContractTest {
protected:
    static std::vector<world::Row> Registered() {
        return world::Read(KRDB::DB_SYSTEM, "SELECT registered FROM task;");
    }
};

TEST_F(RunLockTest, IsTakenOnce) {
    const auto lock = RunLock::TryTake();

    ASSERT_TRUE(lock.has_value());
    EXPECT_FALSE(RunLock::TryTake().has_value());
}

TEST_F(RunLockTest, IsFreeAgainWhenItIsReleasedOrGone) {
    auto lock = RunLock::TryTake();
    ASSERT_TRUE(lock.has_value());
    lock->Release();

    EXPECT_TRUE(RunLock::TryTake().has_value());
    EXPECT_TRUE(RunLock::TryTake().has_value());
}

TEST_F(RunLockTest, IsReleasedForTheChildToo) {
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

TEST_F(RunLockTest, IsNotTakenOnWhatIsNoRegularFile) {
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

TEST_F(RunLockTest, ShowsInTheTaskRow) {
    ASSERT_EQ(KRIndex::RegTaskStart(), 0);
    EXPECT_THAT(Registered(), ElementsAre(world::Row{"1"}));

    KRIndex::RegTaskDone();

    EXPECT_THAT(Registered(), ElementsAre(world::Row{"0"}));
}

TEST_F(RunLockTest, IsNotEndedByAProcessThatHasNone) {
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

} // namespace
