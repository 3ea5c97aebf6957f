#include "platform/recording.h"
#include "platform/taskstatus.h"
#include "recorder/run/run.h"
#include "recorder/run/taps.h"
#include "tests/contract/support/fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class Notification : public contract::ContractTest {
protected:
    // Adds a recording like a run does; its row is then unannounced.
    static void AddRecording(int camId, const std::string& path) {
        Event event;
        event.SetCamId(camId);
        event.SetPath(path);
        recorder::ExecuteInRun(KRDB::DB_RECORDING, event.strSqlInsert());
    }

    static void EndRun() { KRIndex::RecordTaskStatusToConf(0, 0, true); }
};

TEST_F(Notification, OfAddedRowsContainsCameraActionStampAndIds) {
    world::AddCamera({.id = 6, .storagePath = "/a"});
    Camera camera;
    ASSERT_EQ(camera.Load(6, 0, 0), 0);
    std::list<Event> events(2);
    events.front().SetId(11);
    events.front().SetRecCntTimestamp(1394589600000001ULL);
    events.back().SetId(12);
    events.back().SetRecCntTimestamp(1394589600000001ULL);

    NotifyEventListUpdate(events, &camera, EVENT_UPDATE_ADD, 0, 0, 0);

    EXPECT_THAT(world::Outbox(), ElementsAre(R"(event/list {"camera":6,"action":"add",)"
                                             R"("stamp":1394589600000001,"ids":[11,12]})"));
}

TEST_F(Notification, OfAlertRecordingsIsEmpty) {
    NotifyAlertEventRefresh(0, 0, 0);

    EXPECT_THAT(world::Outbox(), ElementsAre("alert_event/refresh {}"));
}

TEST_F(Notification, OfRecordingsThatAKilledRunAddedIsQueuedByTheNextRun) {
    AddRecording(2, "a");
    AddRecording(1, "b");
    AddRecording(2, "c");
    world::Write(
        KRDB::DB_RECORDING,
        "INSERT INTO recording_count (camera_id, day, count, stamp) VALUES (2, 0, 2, 77);");

    EndRun();

    EXPECT_THAT(world::Outbox(),
                ElementsAre(R"(event/list {"camera":1,"action":"add","stamp":0,"ids":[2]})",
                            R"(event/list {"camera":2,"action":"add","stamp":77,"ids":[1,3]})"));
}

TEST_F(Notification, IsQueuedOnce) {
    world::AddCamera({.id = 6, .storagePath = "/a"});
    Camera camera;
    ASSERT_EQ(camera.Load(6, 0, 0), 0);
    AddRecording(6, "a");
    std::list<Event> events(1);
    events.front().SetId(1);

    NotifyEventListUpdate(events, &camera, EVENT_UPDATE_ADD, 0, 0, 0);
    EndRun();
    EndRun();

    EXPECT_THAT(world::Outbox(), SizeIs(1));
}

TEST_F(Notification, IsNotQueuedForRowsThatWereRemovedAgain) {
    AddRecording(6, "a");
    world::Write(KRDB::DB_RECORDING, "DELETE FROM event;");

    EndRun();

    EXPECT_THAT(world::Outbox(), IsEmpty());
    EXPECT_THAT(world::Read(KRDB::DB_RECORDING, "SELECT id FROM unannounced;"), IsEmpty());
}

TEST_F(Notification, IsNotQueuedForRowsThatExistedBefore) {
    world::Write(KRDB::DB_RECORDING, "INSERT INTO event (camera_id, path) VALUES (6, 'a');");
    AddRecording(6, "a");

    EndRun();

    EXPECT_THAT(world::Outbox(), IsEmpty());
}

TEST_F(Notification, JournalKeepsTheNewestTenThousandEntries) {
    world::Write(KRDB::DB_RECORDING,
                 "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10000) "
                 "INSERT INTO outbox (created_tm, topic, payload) SELECT i, 'old', i FROM n;");

    NotifyAlertEventRefresh(0, 0, 0);

    const std::vector<std::string> messages = world::Outbox();
    ASSERT_EQ(messages.size(), 10'000U);
    EXPECT_EQ(messages.front(), "old 2");
    EXPECT_EQ(messages.back(), "alert_event/refresh {}");
}

// Ids are missing after the outbox was restored from an older copy.
TEST_F(Notification, JournalKeepsOlderEntriesIfIdsAreMissingBetweenThem) {
    world::Write(KRDB::DB_RECORDING, "INSERT INTO outbox (id, created_tm, topic, payload) VALUES "
                                     "(1, 1, 'old', '1'), (50000, 1, 'old', '2');");

    NotifyAlertEventRefresh(0, 0, 0);

    EXPECT_EQ(world::Outbox().size(), 3U);
}

} // namespace
