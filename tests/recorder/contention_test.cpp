// What the operator does beside a recorder that writes.

#include "recorder/ledger/undo.h"
#include "recorder/run/run.h"
#include "tests/contract/support/fixture.h"
#include "tests/contract/support/process.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Contention : public contract::ContractTest {};

std::vector<world::Row> EventIds() {
    return world::Read(KRDB::DB_RECORDING, "SELECT id FROM event ORDER BY id;");
}

TEST_F(Contention, OfUndoWithAWriterIsAWait) {
    world::Write(KRDB::DB_RECORDING,
                 "INSERT INTO event (id, camera_id, path) VALUES (1, 1, 'a'), (2, 1, 'b');");
    recorder::BeginRun(1700000000);
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

} // namespace
