#include "recorder/notification/delivery.h"

#include "recorder/logging/recorderlog.h"
#include "recorder/notification/broker.h"
#include "recorder/notification/message.h"
#include "recorder/notification/outbox.h"
#include "recorder/support/filelock.h"
#include "recorder/support/paths.h"
#include "recorder/support/uniquefd.h"

#include <exception>
#include <memory>
#include <optional>
#include <vector>

namespace recorder {

namespace {

// Published before the first acknowledgement is waited for. libmosquitto holds back what is
// beyond 20.
constexpr int kWordsAtOnce = 16;

// The delivery of this process's run.
struct Delivery {
    UniqueFd lock;
    std::unique_ptr<Broker> broker;
    bool givenUp = false;
};

Delivery& DeliveryOfThisRun() {
    static Delivery delivery;
    return delivery;
}

// Nothing when there is none; also when the settings are invalid, which others complain of.
const std::optional<BrokerSettings>& BrokerInForce() {
    return SettingsOrDefaults().notifications.broker;
}

// Two runs at once, one of them without registration, must not publish the same words: false when
// the other one does.
bool HoldsLock(Delivery& delivery) {
    if (!delivery.lock.IsOpen()) {
        delivery.lock = TryLockFile(kOutboxLockFile).value_or(UniqueFd());
    }
    return delivery.lock.IsOpen();
}

void PublishDue(const BrokerSettings& settings, Broker& broker) {
    for (std::vector<Word> words = DueWords(kWordsAtOnce); !words.empty();
         words = DueWords(kWordsAtOnce)) {
        std::vector<int> messages;
        messages.reserve(words.size());
        for (const Word& word : words) {
            messages.push_back(
                broker.Publish(TopicOf(word, settings.topicPrefix), MessageOf(word)));
        }
        for (std::size_t i = 0; i < words.size(); ++i) {
            broker.AwaitAcknowledgement(messages[i]);
            ForgetWord(words[i].id);
        }
    }
}

void ConnectAndPublish(const BrokerSettings& settings, Delivery& delivery) {
    if (!delivery.broker) {
        delivery.broker = ConnectBroker(settings);
    }
    PublishDue(settings, *delivery.broker);
}

void Deliver(const BrokerSettings& settings, Delivery& delivery) {
    if (DueWords(1).empty() || !HoldsLock(delivery)) {
        return;
    }
    const bool stood = delivery.broker != nullptr;
    try {
        ConnectAndPublish(settings, delivery);
        return;
    } catch (const BrokerError&) {
        if (!stood) {
            throw;
        }
    }
    // A connection that stood since an earlier word can have been lost in the silence between them.
    delivery.broker.reset();
    ConnectAndPublish(settings, delivery);
}

void TryToDeliver(Delivery& delivery) noexcept {
    const std::optional<BrokerSettings>& settings = BrokerInForce();
    if (!settings || delivery.givenUp) {
        return;
    }
    try {
        Deliver(*settings, delivery);
    } catch (const std::exception& error) {
        delivery.broker.reset();
        delivery.lock.Reset();
        delivery.givenUp = true;
        LogWarning(std::string(error.what()) +
                   "; the words in the outbox go out with the next run");
    }
}

} // namespace

void Tell(const std::string& topic, const std::string& body, const std::string& told) {
    PutWord(topic, body, BrokerInForce().has_value(), told);
    TryToDeliver(DeliveryOfThisRun());
}

void TellTheRest() noexcept {
    Delivery& delivery = DeliveryOfThisRun();
    TryToDeliver(delivery);
    delivery.broker.reset();
    delivery.lock.Reset();
    delivery.givenUp = false;
}

} // namespace recorder
