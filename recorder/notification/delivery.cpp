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

// The number of messages that are sent before the first acknowledgement is awaited. libmosquitto
// holds back messages after the 20th.
constexpr int kMessagesAtOnce = 16;

// Nothing without a broker, and when the settings are invalid, which is logged elsewhere.
const std::optional<BrokerSettings>& ConfiguredBroker() {
    return SettingsOrDefaults().notifications.broker;
}

class Publication {
public:
    explicit Publication(const BrokerSettings& settings)
        : m_settings(settings),
          m_deadline(Deadline::In(std::chrono::milliseconds(settings.publishTimeoutMs))) {}

    // Throws Error if messages remain that no other process is publishing.
    void Run() {
        // Two publishers would send the same message twice. Messages that another run queues in
        // the meantime are left to the holder of the lock, which therefore checks again after it
        // has released the lock.
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
                // A working connection was lost. The remaining messages get a new one.
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
        // Receivers recognise a repeated message by its id, so no other message may ever get it.
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

    // Throws BrokerSilence at the deadline, even if the broker answers each message quickly.
    void RequireTime() const {
        if (m_deadline.IsOver()) {
            throw BrokerSilence("broker " + m_settings.host + ":" +
                                std::to_string(m_settings.port) +
                                ": the time limit for publishing was reached");
        }
    }

    const BrokerSettings& m_settings;
    Deadline m_deadline;
    long m_acknowledged = 0; // on this connection
};

std::string RemainingMessages() noexcept {
    try {
        const long count = CountDueMessages();
        return std::to_string(count) + (count == 1 ? " message remains" : " messages remain") +
               " queued in the outbox and " + (count == 1 ? "goes" : "go") +
               " out with the next run";
    } catch (const std::exception&) {
        return "the queued messages could not be counted";
    }
}

} // namespace

void Enqueue(const std::string& topic, const std::string& body, const std::string& announced) {
    RequireLog();
    QueueMessage(topic, body, ConfiguredBroker().has_value(), announced);
}

void PublishQueuedMessages() noexcept {
    const std::optional<BrokerSettings>& settings = ConfiguredBroker();
    if (!settings) {
        return;
    }
    try {
        Publication(*settings).Run();
    } catch (const std::exception& error) {
        LogWarning(std::string(error.what()) + "; " + RemainingMessages());
    }
}

} // namespace recorder
