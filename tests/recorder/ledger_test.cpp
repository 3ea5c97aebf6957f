#include "recorder/database/databases.h"
#include "recorder/database/sqltext.h"
#include "recorder/ledger/undo.h"
#include "recorder/run/run.h"
#include "recorder/run/runlist.h"
#include "recorder/run/runlock.h"
#include "recorder/run/taps.h"
#include "recorder/support/error.h"
#include "recorder/support/kerneltime.h"
#include "tests/contract/support/execute.h"
#include "tests/contract/support/fixture.h"

#include <ctime>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Not;
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

// Removes rows like the tool does.
int Remove(const Table& table, const std::string& ids) {
    return contract::Execute(table.db, std::string("DELETE FROM ") + table.name + " WHERE id IN (" +
                                           ids + ");");
}

std::vector<world::Row> KeptIds(const Table& table) {
    return world::Read(table.db, "SELECT row_id FROM removed ORDER BY id;");
}

class Ledger : public contract::ContractTest {
protected:
    Ledger() { BeginRun(kRunStart); }

    static void BeginRun(long startTm) {
        recorder::BeginRun(startTm);
        recorder::RecordRun();
    }

    // Restores rows, by default those of this run, and expects no failure.
    static void Undo(const recorder::UndoSelection& rows = {.run = recorder::RunNumber()}) {
        EXPECT_THAT(recorder::Undo(rows).failures, IsEmpty());
    }

    // Restores the rows of this run. Returns the failures, the number of restored rows of each
    // kind, and the rows that were not restored.
    static std::vector<std::string> UndoReport() {
        const recorder::Undone undone = recorder::Undo({.run = recorder::RunNumber()});
        std::vector<std::string> lines = undone.failures;
        for (const recorder::UndoneKind& kind : undone.kinds) {
            lines.push_back(kind.kind + ": " + std::to_string(kind.restored) + " restored");
            for (const recorder::RowNotRestored& row : kind.notRestored) {
                lines.push_back("not " + std::to_string(row.id) + " " + row.file + " of " +
                                std::to_string(row.camId) + ": " + row.why);
            }
        }
        return lines;
    }

    static void EndRun() {
        recorder::EndRun();
        recorder::RecordRunEnd();
        recorder::CloseRun();
    }
};

TEST_F(Ledger, RestoresEveryColumnOfEveryTable) {
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

        Undo();

        EXPECT_EQ(Rows(table), before) << table.name;
        EXPECT_THAT(KeptIds(table), IsEmpty()) << table.name;
    }
}

// The rows that a run changed, by kind and camera: kind, camera, added, removed.
std::vector<world::Row> CountedChanges(KRDB::DB_INSTANCE db) {
    return world::Read(db, "SELECT kind, camera_id, added, removed FROM run_count "
                           "ORDER BY kind, camera_id;");
}

TEST_F(Ledger, CountsEachRowForItsOwnCameraWhateverPartIsInProgress) {
    InsertEvent(1, 1, "a");
    InsertEvent(2, 7, "b");
    InsertEvent(3, 8, "c");
    Insert(kAlert, "(1, 0, 7, 'a', 0, 0, 0, 0, '', 0, 0, 0, 0)");
    recorder::BeginPart("event", 1);

    ASSERT_EQ(Remove(kEvent, "1, 2, 3"), 0);
    ASSERT_EQ(Remove(kAlert, "1"), 0);
    for (const char* const table : {"event", "alert_event"}) {
        const std::string insert =
            std::string("INSERT INTO ") + table + " (camera_id, path) VALUES ";
        ASSERT_EQ(contract::Execute(KRDB::DB_RECORDING, insert + "(7, 'd'), (9, 'd'), (7, 'e');" +
                                                            insert + "(9, 'e'), (7, 'f');"),
                  0);
    }

    EXPECT_THAT(CountedChanges(KRDB::DB_RECORDING),
                ElementsAre(world::Row{"alert_event", "7", "3", "1"},
                            world::Row{"alert_event", "9", "2", "0"},
                            world::Row{"event", "1", "0", "1"}, world::Row{"event", "7", "3", "1"},
                            world::Row{"event", "8", "0", "1"},
                            world::Row{"event", "9", "2", "0"}));
    EXPECT_THAT(world::Read(KRDB::DB_RECORDING,
                            "SELECT camera_id, sum(added), sum(removed) FROM run_day "
                            "GROUP BY camera_id ORDER BY camera_id;"),
                ElementsAre(world::Row{"1", "0", "1"}, world::Row{"7", "3", "1"},
                            world::Row{"8", "0", "1"}, world::Row{"9", "2", "0"}));
}

// The first recordings are still unannounced when the next ones are added.
TEST_F(Ledger, CountsTheRowsOfEachTransactionOnce) {
    recorder::BeginPart("event", 1);

    for (const char* const rows : {"(7, 'a'), (8, 'a')", "(7, 'b')", "(7, 'c'), (7, 'd')"}) {
        ASSERT_EQ(contract::Execute(KRDB::DB_RECORDING,
                                    std::string("INSERT INTO event (camera_id, path) VALUES ") +
                                        rows + ";"),
                  0);
    }

    EXPECT_THAT(
        CountedChanges(KRDB::DB_RECORDING),
        ElementsAre(world::Row{"event", "7", "4", "0"}, world::Row{"event", "8", "1", "0"}));
}

TEST_F(Ledger, CountsRowsOfTablesWithoutCamerasForNoCamera) {
    Insert(kSnapshot, "(1, 'a', 0, 0)");
    Insert(kEmap, "(1, 'a')");
    recorder::BeginPart("event", 1);

    ASSERT_EQ(Remove(kSnapshot, "1"), 0);
    ASSERT_EQ(Remove(kEmap, "1"), 0);
    ASSERT_EQ(contract::Execute(KRDB::DB_SNAPSHOT, "INSERT INTO snapshot (filename) VALUES ('b');"),
              0);

    EXPECT_THAT(CountedChanges(KRDB::DB_SNAPSHOT), Contains(world::Row{"snapshot", "0", "1", "1"}));
    EXPECT_THAT(CountedChanges(KRDB::DB_SYSTEM), Contains(world::Row{"emap", "0", "0", "1"}));
}

TEST_F(Ledger, ShowsChangesOfACameraIdOfMoreThan32BitsUnderNoCamera) {
    Insert(kEvent, "(1, 0, 4294967297, 'a', 0, 0, 0, 0, '', 0, 0)");
    ASSERT_EQ(Remove(kEvent, "1"), 0);

    const std::vector<recorder::RunPart> parts = recorder::PartsOfRun(recorder::RunNumber());

    ASSERT_THAT(parts, SizeIs(1));
    EXPECT_EQ(parts[0].camId, 0);
    EXPECT_EQ(parts[0].removed, 1);
}

TEST_F(Ledger, DoesNotContainRowsOfAFailedRemoval) {
    InsertEvent(1, 1, "a");

    EXPECT_NE(contract::Execute(KRDB::DB_RECORDING, "DELETE FROM event; SELECT nothing;"), 0);

    EXPECT_THAT(Rows(kEvent), SizeIs(1));
    EXPECT_THAT(KeptIds(kEvent), IsEmpty());
}

TEST_F(Ledger, DoesNotContainRowsThatOtherProcessesRemove) {
    InsertEvent(1, 1, "a");
    InsertEvent(2, 1, "b");
    ASSERT_EQ(Remove(kEvent, "1"), 0);

    world::Write(KRDB::DB_RECORDING, "DELETE FROM event;");

    EXPECT_THAT(KeptIds(kEvent), ElementsAre(world::Row{"1"}));
}

TEST_F(Ledger, PreventsTheRemovalOfARowThatItCantKeep) {
    InsertEvent(1, 1, "a");
    world::Write(KRDB::DB_RECORDING, "ALTER TABLE removed RENAME TO elsewhere;");

    EXPECT_NE(Remove(kEvent, "1"), 0);

    EXPECT_THAT(Rows(kEvent), SizeIs(1));
}

TEST_F(Ledger, DoesNotReplaceANewerRow) {
    InsertEvent(1, 1, "a");
    InsertEvent(2, 1, "b");
    ASSERT_EQ(Remove(kEvent, "1, 2"), 0);
    InsertEvent(3, 1, "a");

    EXPECT_THAT(UndoReport(),
                ElementsAre("event: 1 restored", "not 1 a of 1: a newer row exists for its file"));

    EXPECT_THAT(Ids(kEvent), ElementsAre(world::Row{"2"}, world::Row{"3"}));
    EXPECT_THAT(KeptIds(kEvent), ElementsAre(world::Row{"1"}));
}

// This happens after a database was restored from an older copy: its ids are used again.
TEST_F(Ledger, KeepsARowWhoseIdIsInUseAgain) {
    InsertEvent(1, 1, "a");
    InsertEvent(2, 1, "b");
    Insert(kSnapshot, "(1, 'a', 0, 0)");
    Insert(kEmap, "(1, 'a')");
    ASSERT_EQ(Remove(kEvent, "1, 2"), 0);
    ASSERT_EQ(Remove(kSnapshot, "1"), 0);
    ASSERT_EQ(Remove(kEmap, "1"), 0);
    InsertEvent(1, 1, "another");
    Insert(kSnapshot, "(1, 'another', 0, 0)");
    Insert(kEmap, "(1, 'another')");

    EXPECT_THAT(UndoReport(),
                ElementsAre("event: 1 restored", "not 1 a of 1: another row has its id",
                            "snapshot: 0 restored", "not 1 a of 0: another row has its id",
                            "emap: 0 restored", "not 1 a of 0: another row has its id"));

    EXPECT_THAT(world::Read(KRDB::DB_RECORDING, "SELECT id, path FROM event ORDER BY id;"),
                ElementsAre(world::Row{"1", "another"}, world::Row{"2", "b"}));
    for (const Table& table : {kEvent, kSnapshot, kEmap}) {
        EXPECT_THAT(world::Read(table.db, std::string("SELECT row_id FROM removed WHERE kind = '") +
                                              table.name + "';"),
                    ElementsAre(world::Row{"1"}))
            << table.name;
    }

    world::Write(KRDB::DB_RECORDING, "DELETE FROM event WHERE id = 1;");
    EXPECT_THAT(recorder::Undo({.run = recorder::RunNumber(), .media = {.kinds = {"event"}}}).kinds,
                ElementsAre(Field(&recorder::UndoneKind::restored, 1)));
    EXPECT_THAT(KeptIds(kEvent), Not(Contains(world::Row{"2"})));
}

TEST_F(Ledger, RestoresOneOfTwoRowsThatHadTheSameId) {
    InsertEvent(1, 1, "a");
    ASSERT_EQ(Remove(kEvent, "1"), 0);
    InsertEvent(1, 1, "b");
    ASSERT_EQ(Remove(kEvent, "1"), 0);

    EXPECT_THAT(UndoReport(),
                ElementsAre("event: 1 restored", "not 1 b of 1: another row has its id"));

    EXPECT_THAT(world::Read(KRDB::DB_RECORDING, "SELECT id, path FROM event;"),
                ElementsAre(world::Row{"1", "a"}));
    EXPECT_THAT(world::Read(KRDB::DB_RECORDING, "SELECT row_id, path FROM removed;"),
                ElementsAre(world::Row{"1", "b"}));
}

TEST_F(Ledger, RestoresOneOfTwoRowsOfTheSameFile) {
    InsertEvent(1, 1, "a");
    ASSERT_EQ(Remove(kEvent, "1"), 0);
    InsertEvent(2, 1, "a");
    ASSERT_EQ(Remove(kEvent, "2"), 0);

    EXPECT_THAT(UndoReport(),
                ElementsAre("event: 1 restored", "not 2 a of 1: a newer row exists for its file"));

    EXPECT_THAT(KeptIds(kEvent), ElementsAre(world::Row{"2"}));
}

TEST_F(Ledger, RestoresMoreRowsThanOneTransactionTakes) {
    world::Write(KRDB::DB_RECORDING,
                 "INSERT INTO event (camera_id, path) WITH RECURSIVE number (n) AS (SELECT 1 UNION "
                 "ALL SELECT n + 1 FROM number WHERE n < 9000) SELECT 1, 'a' || n FROM number;");
    const std::vector<world::Row> before = Rows(kEvent);
    ASSERT_EQ(contract::Execute(KRDB::DB_RECORDING, "DELETE FROM event WHERE id > 0;"), 0);

    EXPECT_THAT(UndoReport(), ElementsAre("event: 9000 restored"));

    EXPECT_EQ(Rows(kEvent), before);
    EXPECT_THAT(KeptIds(kEvent), IsEmpty());
}

TEST_F(Ledger, RestoresTheRowsOfARunWithoutARecord) {
    InsertEvent(1, 1, "a");
    ASSERT_EQ(Remove(kEvent, "1"), 0);
    world::Write(KRDB::DB_SYSTEM, "DELETE FROM run;");

    EXPECT_THAT(UndoReport(), ElementsAre("event: 1 restored"));
}

TEST_F(Ledger, RestoresAnEmapBesideANewerOneOfTheSameName) {
    Insert(kEmap, "(1, 'a'), (2, 'b')");
    ASSERT_EQ(Remove(kEmap, "1, 2"), 0);
    Insert(kEmap, "(3, 'a')");

    Undo();

    EXPECT_THAT(Ids(kEmap), ElementsAre(world::Row{"1"}, world::Row{"2"}, world::Row{"3"}));
}

TEST_F(Ledger, RestoresTwoEmapsOfTheSameName) {
    Insert(kEmap, "(1, 'a'), (2, 'a')");
    ASSERT_EQ(Remove(kEmap, "1, 2"), 0);

    Undo();

    EXPECT_THAT(Ids(kEmap), ElementsAre(world::Row{"1"}, world::Row{"2"}));
}

TEST_F(Ledger, RestoresTheRowsOfOneRun) {
    InsertEvent(1, 1, "a");
    InsertEvent(2, 1, "b");
    ASSERT_EQ(Remove(kEvent, "1"), 0);
    const long first = recorder::RunNumber();
    BeginRun(kRunStart);
    ASSERT_EQ(Remove(kEvent, "2"), 0);

    Undo({.run = first});

    EXPECT_THAT(Ids(kEvent), ElementsAre(world::Row{"1"}));
}

TEST_F(Ledger, RestoresOnlyTheRowsOfOneCamera) {
    InsertEvent(1, 1, "a");
    InsertEvent(2, 7, "b");
    Insert(kSnapshot, "(1, 'a', 0, 0)");
    ASSERT_EQ(Remove(kEvent, "1, 2"), 0);
    ASSERT_EQ(Remove(kSnapshot, "1"), 0);

    Undo({.run = recorder::RunNumber(), .media = {.cameras = {7}}});

    EXPECT_THAT(Ids(kEvent), ElementsAre(world::Row{"2"}));
    EXPECT_THAT(Ids(kSnapshot), IsEmpty());
}

TEST_F(Ledger, RestoresOnlyTheRowsOfOneKind) {
    InsertEvent(1, 1, "a");
    Insert(kSnapshot, "(1, 'a', 0, 0)");
    ASSERT_EQ(Remove(kEvent, "1"), 0);
    ASSERT_EQ(Remove(kSnapshot, "1"), 0);

    Undo({.run = recorder::RunNumber(), .media = {.kinds = {"snapshot"}}});

    EXPECT_THAT(Ids(kEvent), IsEmpty());
    EXPECT_THAT(Ids(kSnapshot), SizeIs(1));
}

TEST_F(Ledger, RestoresNothingTheSecondTime) {
    InsertEvent(1, 1, "a");
    ASSERT_EQ(Remove(kEvent, "1"), 0);
    Undo();

    EXPECT_THAT(recorder::Undo({.run = recorder::RunNumber()}).kinds, IsEmpty());

    EXPECT_THAT(Rows(kEvent), SizeIs(1));
}

TEST_F(Ledger, UpdatesTheRecordingCounts) {
    InsertEvent(1, 1, "a");
    ASSERT_EQ(Remove(kEvent, "1"), 0);

    Undo();

    EXPECT_THAT(
        world::Read(KRDB::DB_RECORDING, "SELECT camera_id, day, count FROM recording_count;"),
        ElementsAre(world::Row{"1", "16141", "1"}));
}

TEST_F(Ledger, RefusesARunThatDidNotTakePlace) {
    EXPECT_THROW((void)recorder::Undo({.run = recorder::RunNumber() + 1}), recorder::Error);
}

TEST_F(Ledger, RefusesToRestoreWhileARunIsInProgress) {
    InsertEvent(1, 1, "a");
    ASSERT_EQ(Remove(kEvent, "1"), 0);
    const std::optional<recorder::RunLock> registered = recorder::RunLock::TryTake();
    ASSERT_TRUE(registered.has_value());

    EXPECT_THROW((void)recorder::Undo({.run = recorder::RunNumber()}), recorder::Error);

    EXPECT_THAT(Rows(kEvent), IsEmpty());
}

// Makes the last recorded uptime older, as if the machine had been up for these seconds since then.
// The clock is not changed.
void LetPass(long seconds) {
    world::Write(KRDB::DB_RECORDING,
                 "UPDATE ledger_age SET uptime_s = uptime_s - " + std::to_string(seconds) + ";");
}

class LedgerAge : public Ledger {
protected:
    static constexpr long kKeepS = 90 * 86400L;
    static constexpr long kMomentS = 600; // longer than any test takes

    // The ledger contains one row of a finished run.
    LedgerAge() {
        InsertEvent(1, 1, "a");
        EXPECT_EQ(Remove(kEvent, "1"), 0);
        EndRun();
    }

    // A run that uses the recordings' database and removes nothing.
    static void RunWithoutRemovals() {
        BeginRun(kRunStart);
        recorder::Execute(KRDB::DB_RECORDING, "SELECT 1;");
        EndRun();
    }

    // Expects that the next run keeps the row, and that the row expires after the configured time.
    static void ExpectExpiryCountedFromTheNextRun() {
        RunWithoutRemovals();
        EXPECT_THAT(KeptIds(kEvent), SizeIs(1));
        LetPass(kKeepS);
        RunWithoutRemovals();
        EXPECT_THAT(KeptIds(kEvent), IsEmpty());
    }

    // Changes the ledger's record of the time.
    static void SetRecordedTime(const std::string& assignment) {
        world::Write(KRDB::DB_RECORDING, "UPDATE ledger_age SET " + assignment + ";");
    }

    static long AgeS() {
        return std::stol(*world::Read(KRDB::DB_RECORDING, "SELECT age_s FROM ledger_age;")[0][0]);
    }
};

TEST_F(LedgerAge, ExpiresARowThatWasKeptForTheConfiguredTime) {
    LetPass(kKeepS);

    RunWithoutRemovals();

    EXPECT_THAT(KeptIds(kEvent), IsEmpty());
}

TEST_F(LedgerAge, KeepsARowUntilTheConfiguredTimeHasPassed) {
    LetPass(kKeepS - 60);

    RunWithoutRemovals();

    EXPECT_THAT(KeptIds(kEvent), SizeIs(1));
}

TEST_F(LedgerAge, AddsUpTheTimeBetweenManyRuns) {
    for (int days = 0; days < 90; ++days) {
        EXPECT_THAT(KeptIds(kEvent), SizeIs(1)) << days;
        LetPass(86400);
        RunWithoutRemovals();
    }

    EXPECT_THAT(KeptIds(kEvent), IsEmpty());
}

TEST_F(LedgerAge, CountsFromTheLastRemovalOfARun) {
    InsertEvent(2, 1, "b");
    InsertEvent(3, 1, "c");
    BeginRun(kRunStart);
    ASSERT_EQ(Remove(kEvent, "2"), 0);
    LetPass(kKeepS);
    ASSERT_EQ(Remove(kEvent, "3"), 0);
    EndRun();

    EXPECT_THAT(KeptIds(kEvent), ElementsAre(world::Row{"2"}, world::Row{"3"}));
}

TEST_F(LedgerAge, DoesNotCountTheTimeOfAnotherMachine) {
    SetRecordedTime("machine = '0', boot = '0', uptime_s = 0, clock_tm = 0");

    RunWithoutRemovals();
    EXPECT_LT(AgeS(), kMomentS);

    LetPass(7200); // counting continues from here
    RunWithoutRemovals();
    EXPECT_GE(AgeS(), 7200);
}

TEST_F(LedgerAge, DoesNotCountIfTheUptimeWentBack) {
    SetRecordedTime("uptime_s = uptime_s + 1000000");

    RunWithoutRemovals();
    EXPECT_LT(AgeS(), kMomentS);

    LetPass(7200);
    RunWithoutRemovals();
    EXPECT_GE(AgeS(), 7200);
}

TEST_F(LedgerAge, CountsOnlyTheTimeSinceTheBootAfterAReboot) {
    SetRecordedTime("age_s = 0, boot = '0', uptime_s = 0, clock_tm = 0");

    RunWithoutRemovals();

    const recorder::KernelTime now = recorder::ReadKernelTime();
    if (now.machine.empty()) {
        GTEST_SKIP() << "this machine has no id";
    }
    EXPECT_GT(AgeS(), 0);
    EXPECT_LE(AgeS(), now.uptimeS);
}

// A container may have moved to a host that has been up for years.
TEST_F(LedgerAge, CountsNoMoreOfANewBootThanTheClockConfirms) {
    SetRecordedTime("boot = '0', clock_tm = " + std::to_string(std::time(nullptr) - 5));

    RunWithoutRemovals();

    EXPECT_LE(AgeS(), 60);
}

// If the wrong time stayed, no later boot would add anything before that time is reached.
TEST_F(LedgerAge, RecordsTheCorrectedTimeOfAClockThatWasAhead) {
    constexpr long kYears = 30L * 365 * 86400;
    SetRecordedTime("boot = '0', clock_tm = " + std::to_string(std::time(nullptr) + kYears));

    RunWithoutRemovals();

    EXPECT_LE(std::stol(*world::Read(KRDB::DB_RECORDING, "SELECT clock_tm FROM ledger_age;")[0][0]),
              std::time(nullptr));
}

TEST_F(LedgerAge, OfRowsWithoutARecordCountsFromTheNextRun) {
    world::Write(KRDB::DB_RECORDING, "DELETE FROM removal_age;");
    LetPass(kKeepS);

    ExpectExpiryCountedFromTheNextRun();
}

TEST_F(LedgerAge, OfAFutureRemovalCountsFromTheNextRun) {
    world::Write(KRDB::DB_RECORDING, "UPDATE removal_age SET age_s = 4000000000;");

    ExpectExpiryCountedFromTheNextRun();
}

TEST_F(LedgerAge, CountsFromTheNextRunIfItsRowIsMissing) {
    world::Write(KRDB::DB_RECORDING, "DELETE FROM ledger_age;");

    ExpectExpiryCountedFromTheNextRun();
}

TEST_F(LedgerAge, ExpiresMoreRowsThanOneTransactionTakes) {
    world::Write(KRDB::DB_RECORDING,
                 "INSERT INTO removed (run, removed_tm, kind, row_id) "
                 "WITH RECURSIVE number (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM number "
                 "WHERE n < 9000) SELECT (SELECT max(run) FROM removal_age), 0, 'event', n "
                 "FROM number;");
    LetPass(kKeepS);

    RunWithoutRemovals();

    EXPECT_THAT(KeptIds(kEvent), IsEmpty());
    EXPECT_THAT(world::Read(KRDB::DB_RECORDING, "SELECT run FROM removal_age;"), IsEmpty());
}

TEST_F(Ledger, PreventsTheRemovalOfARowIfTheRunCantBeRecorded) {
    InsertEvent(1, 1, "a");
    EndRun();
    world::DamageDatabase(KRDB::DB_SYSTEM);

    EXPECT_NE(Remove(kEvent, "1"), 0);

    EXPECT_THAT(Rows(kEvent), SizeIs(1));
}

TEST_F(Ledger, CountsAddedRowsButNotUpdatedRows) {
    const std::string insert = "INSERT INTO event (camera_id, path) VALUES (1, 'a') ON CONFLICT "
                               "(camera_id, path) DO UPDATE SET size = 1;";
    for (int time = 0; time < 2; ++time) {
        ASSERT_EQ(contract::Execute(KRDB::DB_RECORDING, insert), 0);
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

TEST_F(Ledger, DoesNotCountTheRowsOfARolledBackTransaction) {
    InsertEvent(1, 1, "a");
    const std::string rolledBack = "INSERT INTO event (camera_id, path) VALUES (1, 'b');"
                                   "DELETE FROM event WHERE id = 1; SELECT nothing;";
    ASSERT_NE(contract::Execute(KRDB::DB_RECORDING, rolledBack), 0);
    ASSERT_EQ(contract::Execute(KRDB::DB_RECORDING,
                                "INSERT INTO event (camera_id, path) VALUES (1, 'c');"),
              0);

    const recorder::RunTotals totals = recorder::TotalsOfRun(recorder::RunNumber());

    EXPECT_EQ(totals.added, 1);
    EXPECT_EQ(totals.removed, 0);
}

TEST_F(Ledger, ListsTheNewestRunFirst) {
    const long first = recorder::RunNumber();
    EndRun();
    BeginRun(kRunStart + 1);

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
