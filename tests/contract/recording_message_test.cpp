#include "platform/recording.h"
#include "tests/contract/support/fixture.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class RecordingMessage : public contract::ContractTest {
protected:
    RecordingMessage() {
        world::AddCamera({.id = 6, .storagePath = "/a"});
        EXPECT_EQ(camera.Load(6, 0, 0), 0);
        for (const int id : {11, 2147483647}) {
            events.emplace_back();
            events.back().SetId(id);
        }
    }

    Camera camera;
    std::list<Event> events;
};

TEST_F(RecordingMessage, OfAddedRowsIsQueuedWithCameraAndIds) {
    NotifyEventListUpdate(events, &camera, EVENT_UPDATE_ADD, 0, 0, 0);

    EXPECT_THAT(world::Outbox(), ElementsAre(AllOf(HasSubstr("6"), HasSubstr("add"),
                                                   HasSubstr("11"), HasSubstr("2147483647"))));
    EXPECT_THAT(world::Log(), IsEmpty());
}

TEST_F(RecordingMessage, LeavesTheEventsUnchanged) {
    NotifyEventListUpdate(events, &camera, EVENT_UPDATE_ADD, 0, 0, 0);

    ASSERT_THAT(events, SizeIs(2));
    EXPECT_EQ(events.front().GetId(), 11);
}

TEST_F(RecordingMessage, OfAlertRecordingsIsQueued) {
    NotifyAlertEventRefresh(0, 0, 0);

    EXPECT_THAT(world::Outbox(), ElementsAre(HasSubstr("alert")));
}

TEST_F(RecordingMessage, StaysInOrder) {
    NotifyAlertEventRefresh(0, 0, 0);
    NotifyEventListUpdate(events, &camera, EVENT_UPDATE_ADD, 0, 0, 0);
    NotifyAlertEventRefresh(0, 0, 0);

    EXPECT_THAT(world::Outbox(),
                ElementsAre(HasSubstr("alert"), HasSubstr("2147483647"), HasSubstr("alert")));
}

TEST_F(RecordingMessage, ThatCantBeQueuedIsLogged) {
    world::DamageDatabase(KRDB::DB_RECORDING);

    NotifyEventListUpdate(events, &camera, EVENT_UPDATE_ADD, 0, 0, 0);
    NotifyAlertEventRefresh(0, 0, 0);

    EXPECT_THAT(world::Log(), SizeIs(2));
}

} // namespace
