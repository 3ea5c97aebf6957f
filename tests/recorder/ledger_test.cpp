#include "recorder/database/quote.h"
#include "recorder/ledger/undo.h"
#include "recorder/run/run.h"
#include "recorder/run/runlist.h"
#include "recorder/run/runlock.h"
#include "recorder/support/error.h"
#include "tests/contract/support/fixture.h"

#include <ctime>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

constexpr long kRunStart = 1700000000;

struct Table {
    KRDB::DB_INSTANCE db;
    const char* name;
    const char* columns;
};

constexpr Table kEvent{KRDB::DB_RECORDING, "event",
                       "id, ds_id, camera_id, path, start_tm, end_tm, size, vdo_type, aud_fmt, "
                       "img_w, img_h"};
constexpr Table kAlert{KRDB::DB_RECORDING, "alert_event",
                       "id, ds_id, camera_id, path, start_tm, end_tm, size, vdo_type, aud_fmt, "
                       "img_w, img_h, alert_event_type, device_type"};
constexpr Table kSnapshot{KRDB::DB_SNAPSHOT, "snapshot", "id, filename, start_tm, size"};
constexpr Table kEmap{KRDB::DB_SYSTEM, "emap", "id, filename"};

void Insert(const Table& table, const std::string& values) {
    world::Write(table.db, std::string("INSERT INTO ") + table.name + " (" + table.columns +
                               ") VALUES " + values + ";");
}

void InsertEvent(int id, int camId, const std::string& path) {
    Insert(kEvent, "(" + std::to_string(id) + ", 0, " + std::to_string(camId) + ", " +
                       recorder::Quote(path) + ", 1394590500, 1394590502, 7, 3, 'AAC', 320, 240)");
}

std::vector<world::Row> Rows(const Table& table) {
    return world::Read(table.db, std::string("SELECT ") + table.columns + " FROM " + table.name +
                                     " ORDER BY id;");
}

std::vector<world::Row> Ids(const Table& table) {
    return world::Read(table.db, std::string("SELECT id FROM ") + table.name + " ORDER BY id;");
}

// As the tool does it.
int Remove(const Table& table, const std::string& ids) {
    return KRDB::Execute(table.db,
                         std::string("DELETE FROM ") + table.name + " WHERE id IN (" + ids + ");",
                         nullptr, false, true, true, true);
}

std::vector<world::Row> KeptIds(const Table& table) {
    return world::Read(table.db, "SELECT row_id FROM removed ORDER BY id;");
}

class Ledger : public contract::ContractTest {
protected:
    Ledger() { recorder::BeginRun(kRunStart); }
};

TEST_F(Ledger, GivesBackEveryColumnOfEveryTableAsItWas) {
    const std::string path = recorder::Quote("20140312AM/\xff\\'\"\n%.mp4");
    Insert(kEvent, "(5, 6, 1, " + path +
                       ", -7, 8, 9007199254740993, 10, '''', 12, 13), "
                       "(6, 0, 1, NULL, 0, 0, 0, 0, '', 0, 0)");
    Insert(kAlert, "(5, 6, 1, " + path + ", 7, 8, 9, 10, 'AAC', 12, 13, 14, 15)");
    Insert(kSnapshot, "(2147483647, " + path + ", 7, -8), (1, NULL, 0, 0)");
    Insert(kEmap, "(3, " + path + "), (4, NULL)");
    for (const Table& table : {kEvent, kAlert, kSnapshot, kEmap}) {
        const std::vector<world::Row> before = Rows(table);
        ASSERT_EQ(Remove(table, "1, 3, 4, 5, 6, 2147483647"), 0) << table.name;
        ASSERT_THAT(Rows(table), IsEmpty()) << table.name;

        recorder::Undo({.run = recorder::CurrentRun()});

        EXPECT_EQ(Rows(table), before) << table.name;
        EXPECT_THAT(KeptIds(table), IsEmpty()) << table.name;
    }
}

TEST_F(Ledger, HoldsNothingOfARemovalThatFailed) {
    InsertEvent(1, 1, "a");

    EXPECT_NE(KRDB::Execute(KRDB::DB_RECORDING, "DELETE FROM event; SELECT nothing;", nullptr,
                            false, true, true, true),
              0);

    EXPECT_THAT(Rows(kEvent), SizeIs(1));
    EXPECT_THAT(KeptIds(kEvent), IsEmpty());
}

TEST_F(Ledger, HoldsNothingThatOthersRemove) {
    InsertEvent(1, 1, "a");
    InsertEvent(2, 1, "b");
    ASSERT_EQ(Remove(kEvent, "1"), 0);

    world::Write(KRDB::DB_RECORDING, "DELETE FROM event;");

    EXPECT_THAT(KeptIds(kEvent), ElementsAre(world::Row{"1"}));
}

TEST_F(Ledger, IsWrittenBeforeAnythingGoes) {
    InsertEvent(1, 1, "a");
    world::Write(KRDB::DB_RECORDING, "ALTER TABLE removed RENAME TO elsewhere;");

    EXPECT_NE(Remove(kEvent, "1"), 0);

    EXPECT_THAT(Rows(kEvent), SizeIs(1));
}

TEST_F(Ledger, PutsNothingOverANewerRow) {
    InsertEvent(1, 1, "a");
    InsertEvent(2, 1, "b");
    ASSERT_EQ(Remove(kEvent, "1, 2"), 0);
    InsertEvent(3, 1, "a");

    const std::vector<recorder::UndoneKind> undone =
        recorder::Undo({.run = recorder::CurrentRun()});

    EXPECT_THAT(undone, ElementsAre(AllOf(Field(&recorder::UndoneKind::kind, "event"),
                                          Field(&recorder::UndoneKind::restored, 1),
                                          Field(&recorder::UndoneKind::left, 1))));
    EXPECT_THAT(Ids(kEvent), ElementsAre(world::Row{"2"}, world::Row{"3"}));
    EXPECT_THAT(KeptIds(kEvent), ElementsAre(world::Row{"1"}));
}

TEST_F(Ledger, PutsAnImagesRowBesideANewerOne) {
    Insert(kEmap, "(1, 'a'), (2, 'b')");
    ASSERT_EQ(Remove(kEmap, "1, 2"), 0);
    Insert(kEmap, "(3, 'a')");

    recorder::Undo({.run = recorder::CurrentRun()});

    EXPECT_THAT(Ids(kEmap), ElementsAre(world::Row{"1"}, world::Row{"2"}, world::Row{"3"}));
}

TEST_F(Ledger, GivesBackBothOfTwoRowsOfOneName) {
    Insert(kEmap, "(1, 'a'), (2, 'a')");
    ASSERT_EQ(Remove(kEmap, "1, 2"), 0);

    recorder::Undo({.run = recorder::CurrentRun()});

    EXPECT_THAT(Ids(kEmap), ElementsAre(world::Row{"1"}, world::Row{"2"}));
}

TEST_F(Ledger, GivesBackWhatOneRunRemoved) {
    InsertEvent(1, 1, "a");
    InsertEvent(2, 1, "b");
    ASSERT_EQ(Remove(kEvent, "1"), 0);
    const long first = recorder::CurrentRun();
    recorder::BeginRun(kRunStart);
    ASSERT_EQ(Remove(kEvent, "2"), 0);

    recorder::Undo({.run = first});

    EXPECT_THAT(Ids(kEvent), ElementsAre(world::Row{"1"}));
}

TEST_F(Ledger, GivesBackOneCamerasRowsOnly) {
    InsertEvent(1, 1, "a");
    InsertEvent(2, 7, "b");
    Insert(kSnapshot, "(1, 'a', 0, 0)");
    ASSERT_EQ(Remove(kEvent, "1, 2"), 0);
    ASSERT_EQ(Remove(kSnapshot, "1"), 0);

    recorder::Undo({.run = recorder::CurrentRun(), .camId = 7});

    EXPECT_THAT(Ids(kEvent), ElementsAre(world::Row{"2"}));
    EXPECT_THAT(Ids(kSnapshot), IsEmpty());
}

TEST_F(Ledger, GivesBackOneKindOnly) {
    InsertEvent(1, 1, "a");
    Insert(kSnapshot, "(1, 'a', 0, 0)");
    ASSERT_EQ(Remove(kEvent, "1"), 0);
    ASSERT_EQ(Remove(kSnapshot, "1"), 0);

    recorder::Undo({.run = recorder::CurrentRun(), .kind = "snapshot"});

    EXPECT_THAT(Ids(kEvent), IsEmpty());
    EXPECT_THAT(Ids(kSnapshot), SizeIs(1));
}

TEST_F(Ledger, HasNothingLeftTheSecondTime) {
    InsertEvent(1, 1, "a");
    ASSERT_EQ(Remove(kEvent, "1"), 0);
    recorder::Undo({.run = recorder::CurrentRun()});

    EXPECT_THAT(recorder::Undo({.run = recorder::CurrentRun()}), IsEmpty());

    EXPECT_THAT(Rows(kEvent), SizeIs(1));
}

TEST_F(Ledger, BringsTheRecordingCountsInLine) {
    InsertEvent(1, 1, "a");
    ASSERT_EQ(Remove(kEvent, "1"), 0);

    recorder::Undo({.run = recorder::CurrentRun()});

    EXPECT_THAT(
        world::Read(KRDB::DB_RECORDING, "SELECT camera_id, day, count FROM recording_count;"),
        ElementsAre(world::Row{"1", "16141", "1"}));
}

TEST_F(Ledger, KnowsOnlyRunsThatWere) {
    EXPECT_THROW(recorder::Undo({.run = recorder::CurrentRun() + 1}), recorder::Error);
}

TEST_F(Ledger, WaitsForNoRunThatIsRegistered) {
    InsertEvent(1, 1, "a");
    ASSERT_EQ(Remove(kEvent, "1"), 0);
    const std::optional<recorder::RunLock> registered = recorder::RunLock::TryTake();
    ASSERT_TRUE(registered.has_value());

    EXPECT_THROW(recorder::Undo({.run = recorder::CurrentRun()}), recorder::Error);

    EXPECT_THAT(Rows(kEvent), IsEmpty());
}

TEST_F(Ledger, ForgetsWhatWasKeptLongEnoughWhenARunEnds) {
    const long now = std::time(nullptr);
    constexpr long kSecondsPerDay = 86400;
    for (const long days : {100, 91, 89, 0}) {
        world::Write(KRDB::DB_RECORDING,
                     "INSERT INTO removed (run, removed_tm, kind, row_id) VALUES (1, " +
                         std::to_string(now - days * kSecondsPerDay) + ", 'event', " +
                         std::to_string(days + 1) + ");");
    }
    ASSERT_EQ(Remove(kEvent, "1"), 0);

    recorder::EndRun();

    EXPECT_THAT(KeptIds(kEvent), ElementsAre(world::Row{"90"}, world::Row{"1"}));
}

TEST_F(Ledger, LosesNoRowWhereTheRunCannotBeRecorded) {
    InsertEvent(1, 1, "a");
    recorder::EndRun();
    world::Spoil(KRDB::DB_SYSTEM);

    EXPECT_NE(Remove(kEvent, "1"), 0);

    EXPECT_THAT(Rows(kEvent), SizeIs(1));
}

TEST_F(Ledger, CountsRowsThatARunAddsAndNotThoseThatWereThere) {
    const std::string insert = "INSERT INTO event (camera_id, path) VALUES (1, 'a') ON CONFLICT "
                               "(camera_id, path) DO UPDATE SET size = 1;";
    for (int time = 0; time < 2; ++time) {
        ASSERT_EQ(KRDB::Execute(KRDB::DB_RECORDING, insert, nullptr, false, true, true, true), 0);
    }
    InsertEvent(8, 1, "b");
    InsertEvent(9, 1, "c");
    ASSERT_EQ(Remove(kEvent, "8, 9"), 0);

    const recorder::RunRecord run = recorder::ListRuns().front();

    ASSERT_THAT(run.changes, SizeIs(1));
    EXPECT_EQ(run.changes[0].kind, "event");
    EXPECT_EQ(run.changes[0].added, 1);
    EXPECT_EQ(run.changes[0].removed, 2);
    EXPECT_EQ(run.changes[0].undoable, 2);
}

TEST_F(Ledger, ListsRunsNewestFirst) {
    const long first = recorder::CurrentRun();
    recorder::EndRun();
    recorder::BeginRun(kRunStart + 1);

    const std::vector<recorder::RunRecord> runs = recorder::ListRuns();

    ASSERT_THAT(runs, SizeIs(2));
    EXPECT_EQ(runs[0].startTm, kRunStart + 1);
    EXPECT_FALSE(runs[0].endTm.has_value());
    EXPECT_EQ(runs[1].id, first);
    EXPECT_EQ(runs[1].startTm, kRunStart);
    EXPECT_TRUE(runs[1].endTm.has_value());
    EXPECT_THAT(runs[1].changes, IsEmpty());
}

} // namespace
