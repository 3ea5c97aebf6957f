// What runs and the operator do beside a recorder that writes.

#include "platform/recording.h"
#include "platform/taskstatus.h"
#include "recorder/ledger/undo.h"
#include "recorder/run/pacedremoval.h"
#include "recorder/run/run.h"
#include "recorder/run/taps.h"
#include "tests/contract/support/files.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

#include <chrono>
#include <filesystem>

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

// Rows 1 to `count` of a camera's recordings, whose half-day folder is gone.
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

class ContentionRemoval : public contract::ContractTest {
protected:
    ContentionRemoval() {
        world::AddCamera({.id = 1, .storagePath = MakeFolder("one")});
        recorder::BeginRun(kRunStart);
    }

    static void ExpectRemovedOnRecord(int rows) {
        EXPECT_THAT(Read("SELECT row_id FROM removed;"), SizeIs(rows));
        EXPECT_THAT(Read("SELECT sum(removed) FROM run_count WHERE kind = 'event';"),
                    ElementsAre(world::Row{std::to_string(rows)}));
    }
};

TEST_F(Contention, OfUndoWithAWriterIsAWait) {
    world::Write(KRDB::DB_RECORDING,
                 "INSERT INTO event (id, camera_id, path) VALUES (1, 1, 'a'), (2, 1, 'b');");
    recorder::BeginRun(kRunStart);
    recorder::RecordRun();
    const long run = recorder::RunNumber();
    recorder::ExecuteInRun(KRDB::DB_RECORDING, "DELETE FROM event;");
    ASSERT_THAT(EventIds(), IsEmpty());
    world::ForeignWriter writer(KRDB::DB_RECORDING);

    contract::Child child([&] {
        const std::vector<recorder::UndoneKind> undone = recorder::Undo({.run = run});
        return undone.size() == 1 && undone.front().restored == 2 ? 0 : 1;
    });
    writer.AwaitWaiter(child);
    writer.Finish();

    EXPECT_EQ(child.Wait(), 0);
    EXPECT_THAT(EventIds(), ElementsAre(world::Row{"1"}, world::Row{"2"}));
}

TEST_F(ContentionRemoval, KeepsInTheLedgerWhatWentBeforeAFailure) {
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

TEST_F(ContentionRemoval, StopsAtAFileThatComesBetweenTwoTransactionsAndIsCompletedLater) {
    InsertEvents(1, kBlock + 1);
    const std::string file = Scratch("one/20140312AM/" + std::to_string(kBlock + 1));
    world::ForeignWriter writer(KRDB::DB_RECORDING);
    contract::Child child([] { return RemoveEvents(kBlock + 1) == 0 ? 1 : 0; });
    writer.AwaitWaiter(child);

    contract::PutFile(file);
    writer.Finish();

    EXPECT_EQ(child.Wait(), 0);
    EXPECT_THAT(EventIds(), ElementsAre(world::Row{std::to_string(kBlock + 1)}));
    EXPECT_THAT(LogLinesWith("rows are removed: the file " + file + " is there"), SizeIs(1));
    ExpectRemovedOnRecord(kBlock);

    std::filesystem::remove(file);
    EXPECT_EQ(RemoveEvents(kBlock + 1), 0);
    EXPECT_THAT(EventIds(), IsEmpty());
    ExpectRemovedOnRecord(kBlock + 1);
}

TEST_F(ContentionRemoval, SparesTheEventsOfACameraThatComesBackBetweenTwoTransactions) {
    InsertEvents(2, kBlock + 1);
    world::ForeignWriter writer(KRDB::DB_RECORDING);
    contract::Child child([] {
        KRIndex::RmEvtOfInvalidCamId();
        return 0;
    });
    writer.AwaitWaiter(child);

    world::AddCamera({.id = 2, .storagePath = MakeFolder("two")});
    writer.Finish();

    EXPECT_EQ(child.Wait(), 0);
    EXPECT_THAT(EventIds(), ElementsAre(world::Row{std::to_string(kBlock + 1)}));
    ExpectRemovedOnRecord(kBlock);
}

// Each row that the writer adds holds how many of the others had gone by then.
TEST_F(ContentionRemoval, GivesAWriterItsTurnBetweenTwoTransactions) {
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
