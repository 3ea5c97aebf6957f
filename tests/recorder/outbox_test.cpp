#include "recorder/notification/outbox.h"
#include "tests/contract/support/fixture.h"

#include <ctime>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class Outbox : public contract::ContractTest {
protected:
    static std::vector<std::string> DueTopics(int atMost) {
        std::vector<std::string> topics;
        for (const recorder::Message& message : recorder::DueMessages(atMost)) {
            topics.push_back(message.topic);
        }
        return topics;
    }
};

TEST_F(Outbox, ReturnsADueMessageUnchanged) {
    const long before = std::time(nullptr);

    recorder::QueueMessage("event/list", R"({"name":"it's 100 %"})", true);

    const std::vector<recorder::Message> messages = recorder::DueMessages(10);
    ASSERT_THAT(messages, SizeIs(1));
    EXPECT_GT(messages.front().id, 0);
    EXPECT_GE(messages.front().createdTm, before);
    EXPECT_LE(messages.front().createdTm, std::time(nullptr));
    EXPECT_EQ(messages.front().topic, "event/list");
    EXPECT_EQ(messages.front().body, R"({"name":"it's 100 %"})");
}

TEST_F(Outbox, ReturnsTheOldestDueMessagesFirst) {
    for (const char* const topic : {"a", "c", "b"}) {
        recorder::QueueMessage(topic, "{}", true);
    }

    EXPECT_THAT(DueTopics(2), ElementsAre("a", "c"));
}

TEST_F(Outbox, DoesNotReturnJournalEntries) {
    recorder::QueueMessage("journal", "{}", false);
    recorder::QueueMessage("due", "{}", true);

    EXPECT_THAT(DueTopics(10), ElementsAre("due"));
}

TEST_F(Outbox, DeletesADeliveredMessage) {
    recorder::QueueMessage("first", "{}", true);
    recorder::QueueMessage("second", "{}", true);

    recorder::DeleteMessage(recorder::DueMessages(1).front().id);

    EXPECT_THAT(world::Outbox(), ElementsAre("second {}"));
}

// A receiver recognises a message that it received before by its id.
TEST_F(Outbox, NeverUsesAnIdTwice) {
    recorder::QueueMessage("first", "{}", true);
    const long first = recorder::DueMessages(1).front().id;
    recorder::DeleteMessage(first);

    recorder::QueueMessage("second", "{}", true);

    EXPECT_GT(recorder::DueMessages(1).front().id, first);
}

TEST_F(Outbox, KeepsDueMessagesWhenTheJournalIsFull) {
    constexpr std::size_t kJournalEntries = 10000;
    world::Write(KRDB::DB_RECORDING,
                 "INSERT INTO outbox (id, created_tm, topic, payload, due) "
                 "VALUES (1, 1, 'due', '{}', 1), (2, 2, 'journal', '{}', 0);"
                 "WITH RECURSIVE number (n) AS "
                 "(SELECT 3 UNION ALL SELECT n + 1 FROM number WHERE n < 10001) "
                 "INSERT INTO outbox (id, created_tm, topic, payload, due) "
                 "SELECT n, 3, 'recent', '{}', 0 FROM number;");

    recorder::QueueMessage("newest", "{}", false);

    const std::vector<std::string> messages = world::Outbox();
    ASSERT_EQ(messages.size(), 1 + kJournalEntries);
    EXPECT_EQ(messages[0], "due {}");
    EXPECT_EQ(messages[1], "recent {}");
    EXPECT_EQ(messages.back(), "newest {}");
}

TEST_F(Outbox, IsEmptyAtFirst) {
    EXPECT_THAT(recorder::DueMessages(10), IsEmpty());
}

TEST(OutboxMessage, ContainsIdTimeAndTheUnchangedBody) {
    const recorder::Message message{
        .id = 3000000000, .createdTm = 1700000000, .topic = "a", .body = R"({"ids":[1, 2]})"};

    EXPECT_EQ(recorder::MessageOf(message),
              R"({"id":3000000000,"time":1700000000,"body":{"ids":[1, 2]}})");
}

TEST(OutboxMessage, IsPublishedBelowTheTopicPrefix) {
    EXPECT_EQ(recorder::TopicOf({.id = 1, .createdTm = 1, .topic = "event/list", .body = "{}"},
                                "house/nvr"),
              "house/nvr/event/list");
}

} // namespace
