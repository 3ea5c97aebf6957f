#include "platform/recording.h"
#include "tests/contract/support/fixture.h"

namespace {

using testing::ElementsAre;

class Notification : public contract::ContractTest {};

TEST_F(Notification, OfAddedRowsHoldsCameraActionStampAndIds) {
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

TEST_F(Notification, OfAlertRowsHoldsNothing) {
    NotifyAlertEventRefresh(0, 0, 0);

    EXPECT_THAT(world::Outbox(), ElementsAre("alert_event/refresh {}"));
}

TEST_F(Notification, KeepsTheNewestTenThousand) {
    world::Write(KRDB::DB_RECORDING,
                 "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10000) "
                 "INSERT INTO outbox (created_tm, topic, payload) SELECT i, 'old', i FROM n;");

    NotifyAlertEventRefresh(0, 0, 0);

    const std::vector<std::string> words = world::Outbox();
    ASSERT_EQ(words.size(), 10'000U);
    EXPECT_EQ(words.front(), "old 2");
    EXPECT_EQ(words.back(), "alert_event/refresh {}");
}

} // namespace
