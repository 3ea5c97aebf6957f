#include "platform/database.h"
#include "tests/contract/support/execute.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kInsert = "INSERT INTO emap (filename) VALUES ('a');";

int Insert(bool transaction, bool waitForLock) {
    return contract::Execute(kInsert, {.transaction = transaction, .waitForLock = waitForLock});
}

std::string InsertAfterWaiting() {
    return Insert(true, true) == 0 ? "inserted" : "refused";
}

const contract::Probe kWaitingInsert("insert into a locked database", InsertAfterWaiting);

class DatabaseLock : public contract::ContractTest {
protected:
    static std::vector<world::Row> Emaps() {
        return world::Read(KRDB::DB_SYSTEM, "SELECT filename FROM emap;");
    }

    // Runs the action in another process while a third process holds the write lock. The third
    // process ends as soon as the action waits for it. Returns 0 if the action succeeded.
    template <typename Action> static int StatusBesideAWriter(const Action& action) {
        world::ConcurrentWriter writer(KRDB::DB_SYSTEM);
        contract::Child child([&] { return action() == 0 ? 0 : 1; });
        writer.AwaitWaiting(child);
        writer.Finish();
        return child.Wait();
    }
};

TEST_F(DatabaseLock, FailsAtOnceUnlessAskedToWait) {
    const world::ConcurrentWriter writer(KRDB::DB_SYSTEM);

    EXPECT_NE(Insert(true, false), 0);
    EXPECT_NE(Insert(false, false), 0);

    EXPECT_EQ(world::Log().size(), 2U);
    EXPECT_THAT(Emaps(), IsEmpty());
}

TEST_F(DatabaseLock, WaitsForAnotherWriterIfAskedTo) {
    EXPECT_EQ(StatusBesideAWriter([] { return Insert(true, true); }), 0);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
}

TEST_F(DatabaseLock, WaitsForAnotherWriterAlsoWithoutATransaction) {
    EXPECT_EQ(StatusBesideAWriter([] { return Insert(false, true); }), 0);

    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
}

TEST_F(DatabaseLock, WaitsForAnotherWriterIfATextReadsBeforeItWrites) {
    for (const char* const reads :
         {"SELECT filename FROM emap;", "SELECT filename FROM emap; SELECT filename FROM emap;"}) {
        EXPECT_EQ(
            StatusBesideAWriter([=] { return contract::Execute(std::string(reads) + kInsert); }), 0)
            << reads;
    }

    EXPECT_THAT(Emaps(), testing::SizeIs(2));
}

TEST_F(DatabaseLock, WaitsNoLongerThanTheSettingsAllow) {
    world::PutSettings("[database]\nlock_timeout_ms = 20\n");
    const world::ConcurrentWriter writer(KRDB::DB_SYSTEM);

    EXPECT_EQ(kWaitingInsert.Run(), "refused");
}

TEST_F(DatabaseLock, ReadsWhileAnotherProcessWrites) {
    ASSERT_EQ(Insert(true, false), 0);
    const world::ConcurrentWriter writer(KRDB::DB_SYSTEM);

    EXPECT_EQ(contract::Execute("SELECT id FROM emap;", {.readOnly = true, .waitForLock = false}),
              0);
}

TEST_F(DatabaseLock, RunsSeveralSelectsWhileAnotherProcessWrites) {
    const world::ConcurrentWriter writer(KRDB::DB_SYSTEM);

    for (const bool readOnly : {true, false}) {
        EXPECT_EQ(contract::Execute("SELECT id FROM emap; SELECT id FROM emap;",
                                    {.readOnly = readOnly, .waitForLock = false}),
                  0);
    }
}

TEST_F(DatabaseLock, IsAvailableAfterTheOtherWriterHasEnded) {
    {
        const world::ConcurrentWriter writer(KRDB::DB_SYSTEM);
        ASSERT_NE(Insert(true, false), 0);
    }

    EXPECT_EQ(Insert(true, false), 0);
}

} // namespace
