#include "platform/database.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kInsert = "INSERT INTO emap (filename) VALUES ('a');";

int Insert(bool transaction, bool waitForLock) {
    return KRDB::Execute(KRDB::DB_SYSTEM, kInsert, nullptr, false, transaction, waitForLock, true);
}

std::string InsertPatiently() {
    return Insert(true, true) == 0 ? "inserted" : "refused";
}

const contract::Probe kPatientInsert("insert into a locked database", InsertPatiently);

class DatabaseLock : public contract::ContractTest {
protected:
    static std::vector<world::Row> Emaps() {
        return world::Read(KRDB::DB_SYSTEM, "SELECT filename FROM emap;");
    }

    // Executes in another process while a third one is writing, which ends when the former waits.
    static int StatusOfInsertMeetingAWriter(bool transaction) {
        return StatusMeetingAWriter([=] { return Insert(transaction, true); });
    }

    template <typename Action> static int StatusMeetingAWriter(const Action& action) {
        world::ForeignWriter writer(KRDB::DB_SYSTEM);
        contract::Child child([&] { return action() == 0 ? 0 : 1; });
        writer.AwaitWaiter(child);
        writer.Finish();
        return child.Wait();
    }
};

TEST_F(DatabaseLock, FailsAtOnceWhereNotToldToWait) {
    const world::ForeignWriter writer(KRDB::DB_SYSTEM);

    EXPECT_NE(Insert(true, false), 0);
    EXPECT_NE(Insert(false, false), 0);

    EXPECT_EQ(world::Log().size(), 2U);
    EXPECT_THAT(Emaps(), IsEmpty());
}

TEST_F(DatabaseLock, WaitsForAnotherWriterWhereTold) {
    EXPECT_EQ(StatusOfInsertMeetingAWriter(true), 0);
    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
}

TEST_F(DatabaseLock, WaitsForAnotherWriterWithoutATransactionToo) {
    EXPECT_EQ(StatusOfInsertMeetingAWriter(false), 0);
    EXPECT_THAT(Emaps(), ElementsAre(world::Row{"a"}));
}

TEST_F(DatabaseLock, WaitsForAnotherWriterWhereATextReadsBeforeItWrites) {
    for (const char* const reads :
         {"SELECT filename FROM emap;", "SELECT filename FROM emap; SELECT filename FROM emap;"}) {
        EXPECT_EQ(StatusMeetingAWriter([=] {
                      return KRDB::Execute(KRDB::DB_SYSTEM, std::string(reads) + kInsert, nullptr,
                                           false, true, true, true);
                  }),
                  0)
            << reads;
    }
    EXPECT_THAT(Emaps(), testing::SizeIs(2));
}

TEST_F(DatabaseLock, WaitsNoLongerThanTheSettingsAllow) {
    world::PutSettings("[database]\nlock_timeout_ms = 20\n");
    const world::ForeignWriter writer(KRDB::DB_SYSTEM);

    EXPECT_EQ(kPatientInsert.Run(), "refused");
}

TEST_F(DatabaseLock, ReadsWhileAnotherProcessWrites) {
    ASSERT_EQ(Insert(true, false), 0);
    const world::ForeignWriter writer(KRDB::DB_SYSTEM);

    EXPECT_EQ(
        KRDB::Execute(KRDB::DB_SYSTEM, "SELECT id FROM emap;", nullptr, true, true, false, true),
        0);
}

TEST_F(DatabaseLock, ReadsAnyNumberOfTimesWhileAnotherProcessWrites) {
    const world::ForeignWriter writer(KRDB::DB_SYSTEM);

    for (const bool readOnly : {true, false}) {
        EXPECT_EQ(KRDB::Execute(KRDB::DB_SYSTEM, "SELECT id FROM emap; SELECT id FROM emap;",
                                nullptr, readOnly, true, false, true),
                  0);
    }
}

TEST_F(DatabaseLock, WorksWhenTheOtherWriterIsGone) {
    {
        const world::ForeignWriter writer(KRDB::DB_SYSTEM);
        ASSERT_NE(Insert(true, false), 0);
    }

    EXPECT_EQ(Insert(true, false), 0);
}

} // namespace
