#include "recorder/notification/delivery.h"

#include "recorder/database/idmarks.h"
#include "recorder/logging/logfile.h"
#include "recorder/logging/recorderlog.h"
#include "recorder/notification/broker.h"
#include "recorder/notification/outbox.h"
#include "recorder/support/deadline.h"
#include "recorder/support/filelock.h"
#include "recorder/support/paths.h"
#include "recorder/support/uniquefd.h"

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <vector>

namespace recorder {

namespace {

// Published before the first acknowledgement is waited for. libmosquitto holds back what is
// beyond 20.
constexpr int kMessagesAtOnce = 16;

// Nothing when there is none; also when the settings are invalid, which others complain of.
const std::optional<BrokerSettings>& BrokerInForce() {
    return SettingsOrDefaults().notifications.broker;
}

class Publication {
public:
    explicit Publication(const BrokerSettings& settings)
        : m_settings(settings),
          m_deadline(Deadline::In(std::chrono::milliseconds(settings.publishTimeoutMs))) {}

    // Throws Error when something is left that nobody else is publishing.
    void Run() {
        // One publisher at a time, or the same message would go out twice. What another run queues
        // meanwhile is left to the one that has the lock; so that one looks again once it has
        // released it.
        while (!DueMessages(1).empty()) {
            const std::optional<UniqueFd> lock = TryLockFile(kOutboxLockFile);
            if (!lock) {
                LogNotice("another process is publishing: the messages of this run are left to it");
                return;
            }
            PublishAll();
        }
    }

private:
    void PublishAll() {
        while (true) {
            m_acknowledged = 0;
            try {
                ConnectAndPublish();
                return;
            } catch (const BrokerSilence&) {
                throw;
            } catch (const BrokerError&) {
                if (m_acknowledged == 0) {
                    throw;
                }
                // A connection that worked was lost: another one takes up what is left.
            }
        }
    }

    void ConnectAndPublish() {
        const std::unique_ptr<Broker> broker = ConnectBroker(m_settings, m_deadline);
        for (std::vector<Message> messages = DueMessages(kMessagesAtOnce); !messages.empty();
             messages = DueMessages(kMessagesAtOnce)) {
            RequireTime();
            Publish(messages, *broker);
        }
        const std::string complaints = broker->TakeComplaints();
        if (!complaints.empty()) {
            LogWarning("broker " + m_settings.host + ": " + complaints);
        }
    }

    void Publish(const std::vector<Message>& messages, Broker& broker) {
        // By its id a receiver knows a message again: no other one ever gets it.
        NoteIdForGood(IdKind::Outbox, messages.back().id);
        std::vector<int> published;
        published.reserve(messages.size());
        for (const Message& message : messages) {
            published.push_back(
                broker.Publish(TopicOf(message, m_settings.topicPrefix), MessageOf(message)));
        }
        for (std::size_t i = 0; i < messages.size(); ++i) {
            broker.AwaitAcknowledgement(published[i]);
            DeleteMessage(messages[i].id);
            ++m_acknowledged;
        }
    }

    // However quickly the broker answers.
    void RequireTime() const {
        if (m_deadline.IsOver()) {
            throw BrokerSilence("broker " + m_settings.host + ":" +
                                std::to_string(m_settings.port) +
                                ": the time to publish is used up");
        }
    }

    const BrokerSettings& m_settings;
    Deadline m_deadline;
    long m_acknowledged = 0; // on this connection
};

std::string WhatRemains() noexcept {
    try {
        const long count = CountDueMessages();
        return std::to_string(count) + (count == 1 ? " message remains" : " messages remain") +
               " queued in the outbox and " + (count == 1 ? "goes" : "go") +
               " out with the next run";
    } catch (const std::exception&) {
        return "what is queued in the outbox could not be counted";
    }
}

} // namespace

void Enqueue(const std::string& topic, const std::string& body, const std::string& told) {
    RequireLog();
    QueueMessage(topic, body, BrokerInForce().has_value(), told);
}

void PublishQueuedMessages() noexcept {
    const std::optional<BrokerSettings>& settings = BrokerInForce();
    if (!settings) {
        return;
    }
    try {
        Publication(*settings).Run();
    } catch (const std::exception& error) {
        LogWarning(std::string(error.what()) + "; " + WhatRemains());
    }
}

} // namespace recorder
