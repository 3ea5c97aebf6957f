// Removals, undo and expiry while another process writes, or when they are killed.

#include "platform/recording.h"
#include "platform/taskstatus.h"
#include "recorder/database/databases.h"
#include "recorder/database/expiry.h"
#include "recorder/ledger/undo.h"
#include "recorder/run/pacedremoval.h"
#include "recorder/run/run.h"
#include "recorder/run/taps.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <numeric>

#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr long kRunStart = 1700000000;
constexpr int kBlock = static_cast<int>(recorder::kRowsOfBlock);

std::vector<world::Row> Read(const std::string& select) {
    return world::Read(KRDB::DB_RECORDING, select);
}

std::vector<world::Row> EventIds() {
    return Read("SELECT id FROM event ORDER BY id;");
}

// Inserts the rows 1 to `count` of a camera's recordings. Their half-day folder does not exist.
void InsertEvents(int camId, int count) {
    world::Write(KRDB::DB_RECORDING,
                 "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                     std::to_string(count) +
                     ") INSERT INTO event (id, camera_id, path) SELECT i, " +
                     std::to_string(camId) + ", '20140312AM/' || i FROM n;");
}

int RemoveEvents(int count) {
    EventFilterParam filter;
    filter.limit = 0;
    for (int id = 1; id <= count; ++id) {
        filter.idList += (id == 1 ? "" : ",") + std::to_string(id);
    }
    return DelUnrefRecsFromDB(filter);
}

class Contention : public contract::ContractTest {};

long CountOf(const std::string& table) {
    return std::stol(*Read("SELECT count(*) FROM " + table + ";")[0][0]);
}

// Runs `body` in a child process and kills it as soon as the number of the table's rows changes.
void KillAfterFirstChange(const std::string& table, const std::function<int()>& body) {
    constexpr std::chrono::seconds kDeadline{60};
    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    const long before = CountOf(table);
    contract::Child child(body);
    while (CountOf(table) == before && std::chrono::steady_clock::now() < deadline) {
    }
    child.Kill();
}

class ContentionRemoval : public contract::ContractTest {
protected:
    ContentionRemoval() {
        world::AddCamera({.id = 1, .storagePath = MakeFolder("one")});
        recorder::BeginRun(kRunStart);
    }

    // Removes the rows 1 to `count` in a run that ends, and returns its number. Closes the
    // databases, because undo and expiry happen in other processes.
    static long RemoveInARun(int count) {
        recorder::BeginRun(kRunStart);
        recorder::RecordRun();
        const long run = recorder::RunNumber();
        EXPECT_EQ(RemoveEvents(count), 0);
        recorder::CloseRun();
        recorder::CloseDatabases();
        return run;
    }

    static void ExpectRemovedOnRecord(int rows) {
        EXPECT_THAT(Read("SELECT row_id FROM removed;"), SizeIs(rows));
        EXPECT_THAT(Read("SELECT sum(removed) FROM run_count WHERE kind = 'event';"),
                    ElementsAre(world::Row{std::to_string(rows)}));
    }
};

TEST_F(Contention, UndoWaitsForAWriter) {
    world::Write(KRDB::DB_RECORDING,
                 "INSERT INTO event (id, camera_id, path) VALUES (1, 1, 'a'), (2, 1, 'b');");
    recorder::BeginRun(kRunStart);
    recorder::RecordRun();
    const long run = recorder::RunNumber();
    recorder::ExecuteInRun(KRDB::DB_RECORDING, "DELETE FROM event;");
    ASSERT_THAT(EventIds(), IsEmpty());
    world::ConcurrentWriter writer(KRDB::DB_RECORDING);

    contract::Child child([&] {
        const std::vector<recorder::UndoneKind> undone = recorder::Undo({.run = run}).kinds;
        return undone.size() == 1 && undone.front().restored == 2 ? 0 : 1;
    });
    writer.AwaitWaiting(child);
    writer.Finish();

    EXPECT_EQ(child.Wait(), 0);
    EXPECT_THAT(EventIds(), ElementsAre(world::Row{"1"}, world::Row{"2"}));
}

TEST_F(ContentionRemoval, KeepsTheRowsRemovedBeforeAFailureInTheLedger) {
    InsertEvents(1, kBlock);
    world::AddCamera({.id = 2, .storagePath = MakeFolder("two")});
    world::Write(KRDB::DB_RECORDING, "INSERT INTO event (id, camera_id, path) VALUES (" +
                                         std::to_string(kBlock + 1) + ", 2, '20140312AM/a');");
    world::RefuseRows(KRDB::DB_RECORDING, "event", 2);

    EXPECT_NE(RemoveEvents(kBlock + 1), 0);

    EXPECT_THAT(EventIds(), ElementsAre(world::Row{std::to_string(kBlock + 1)}));
    EXPECT_THAT(LogLinesWith("only " + std::to_string(kBlock) + " of " +
                             std::to_string(kBlock + 1) + " rows are removed: "),
                SizeIs(1));
    ExpectRemovedOnRecord(kBlock);
}

TEST_F(ContentionRemoval, StopsAtAFileThatAppearsBetweenTwoTransactionsAndIsCompletedLater) {
    InsertEvents(1, kBlock + 1);
    const std::string file = Scratch("one/20140312AM/" + std::to_string(kBlock + 1));
    world::ConcurrentWriter writer(KRDB::DB_RECORDING);
    contract::Child child([] { return RemoveEvents(kBlock + 1) == 0 ? 1 : 0; });
    writer.AwaitWaiting(child);

    contract::PutFile(file);
    writer.Finish();

    EXPECT_EQ(child.Wait(), 0);
    EXPECT_THAT(EventIds(), ElementsAre(world::Row{std::to_string(kBlock + 1)}));
    EXPECT_THAT(LogLinesWith("rows are removed: the file " + file + " exists"), SizeIs(1));
    ExpectRemovedOnRecord(kBlock);

    std::filesystem::remove(file);
    EXPECT_EQ(RemoveEvents(kBlock + 1), 0);
    EXPECT_THAT(EventIds(), IsEmpty());
    ExpectRemovedOnRecord(kBlock + 1);
}

TEST_F(ContentionRemoval, KeepsTheRowsOfACameraThatIsAddedAgainBetweenTwoTransactions) {
    InsertEvents(2, kBlock + 1);
    world::ConcurrentWriter writer(KRDB::DB_RECORDING);
    contract::Child child([] {
        KRIndex::RmEvtOfInvalidCamId();
        return 0;
    });
    writer.AwaitWaiting(child);

    world::AddCamera({.id = 2, .storagePath = MakeFolder("two")});
    writer.Finish();

    EXPECT_EQ(child.Wait(), 0);
    EXPECT_THAT(EventIds(), ElementsAre(world::Row{std::to_string(kBlock + 1)}));
    ExpectRemovedOnRecord(kBlock);
}

TEST_F(ContentionRemoval, ThatIsKilledBetweenTwoTransactionsIsRecordedAndCompletedByTheNextRun) {
    constexpr int kRows = 20 * kBlock;
    InsertEvents(1, kRows);
    recorder::RecordRun();
    std::vector<long> ids(kRows);
    std::iota(ids.begin(), ids.end(), 1);

    contract::Child child([&] {
        recorder::RemoveRows(KRDB::DB_RECORDING, "event", ids, [](std::size_t first, std::size_t) {
            if (first > 2 * recorder::kRowsOfBlock) {
                raise(SIGKILL);
            }
            return std::string();
        });
        return 0;
    });
    EXPECT_EQ(child.Wait(), -1);

    const long left = CountOf("event");
    EXPECT_GT(left, 0);
    EXPECT_LT(left, kRows);
    EXPECT_EQ(CountOf("removed"), kRows - left);
    EXPECT_EQ(CountOf("event JOIN removed ON removed.row_id = event.id"), 0);

    EXPECT_EQ(RemoveEvents(kRows), 0);
    EXPECT_THAT(EventIds(), IsEmpty());
    ExpectRemovedOnRecord(kRows);
}

TEST_F(ContentionRemoval, DropsNoRowIfItsUndoIsKilledAndTheNextUndoCompletesIt) {
    constexpr int kRows = 40 * kBlock;
    InsertEvents(1, kRows);
    const long run = RemoveInARun(kRows);

    KillAfterFirstChange("event", [&] {
        (void)recorder::Undo({.run = run});
        return 0;
    });

    EXPECT_GT(CountOf("event"), 0);
    EXPECT_GT(CountOf("removed"), 0);
    EXPECT_EQ(CountOf("(SELECT id FROM event UNION SELECT row_id FROM removed) AS either"), kRows);

    EXPECT_THAT(recorder::Undo({.run = run}).kinds, SizeIs(1));
    EXPECT_EQ(CountOf("event"), kRows);
    EXPECT_EQ(CountOf("removed"), 0);
}

TEST_F(ContentionRemoval, ExpiresWithTheNextRunIfItsExpiryIsKilled) {
    constexpr int kRows = 40 * kBlock;
    InsertEvents(1, kRows);
    RemoveInARun(kRows);
    const auto expireAll = [] {
        recorder::Execute(KRDB::DB_RECORDING, "SELECT 1;"); // only open databases expire rows
        recorder::ForgetExpired(0);
        return 0;
    };

    KillAfterFirstChange("removed", expireAll);

    EXPECT_GT(CountOf("removed"), 0);
    EXPECT_LT(CountOf("removed"), kRows);
    EXPECT_EQ(CountOf("removal_age"), 1);

    expireAll();
    EXPECT_EQ(CountOf("removed"), 0);
    EXPECT_EQ(CountOf("removal_age"), 0);
}

// With 20,000 rows every undo pauses for the writer several times, because one transaction restores
// 4000 of them. The writer commits every 20 ms.
TEST_F(ContentionRemoval, CanBeUndoneTenTimesBesideABusyWriter) {
    constexpr int kRows = 10 * kBlock;
    constexpr int kTimes = 10;
    InsertEvents(1, kRows);
    contract::Child writer([&] {
        for (;;) {
            world::Write(KRDB::DB_RECORDING, "INSERT INTO outbox (created_tm, topic, payload, due) "
                                             "VALUES (0, 'turn', '', 0);");
            usleep(20000);
        }
        return 0;
    });
    const long written = CountOf("outbox");
    for (int time = 0; time < kTimes; ++time) {
        const long run = RemoveInARun(kRows);

        const std::vector<recorder::UndoneKind> undone = recorder::Undo({.run = run}).kinds;

        ASSERT_THAT(undone, SizeIs(1));
        EXPECT_EQ(undone.front().restored, kRows);
    }
    EXPECT_EQ(CountOf("event"), kRows);
    EXPECT_GT(CountOf("outbox"), written + kTimes);
}

// Each row that the writer adds contains the number of rows that were removed before it.
TEST_F(ContentionRemoval, LetsAnotherWriterWriteBetweenTwoTransactions) {
    constexpr int kRows = 30 * kBlock;
    constexpr std::chrono::seconds kDeadline{120};
    InsertEvents(1, kRows);
    contract::Child child([] { return RemoveEvents(kRows); });

    const auto deadline = std::chrono::steady_clock::now() + kDeadline;
    while (!EventIds().empty() && std::chrono::steady_clock::now() < deadline) {
        world::Write(KRDB::DB_RECORDING, "INSERT INTO outbox (created_tm, topic, payload, due) "
                                         "SELECT 0, 'turn', count(*), 0 FROM removed;");
    }

    EXPECT_EQ(child.Wait(), 0);
    EXPECT_THAT(Read("SELECT id FROM outbox WHERE CAST(payload AS INTEGER) > 0 AND "
                     "CAST(payload AS INTEGER) < " +
                     std::to_string(kRows) + ";"),
                testing::Not(IsEmpty()));
}

} // namespace
