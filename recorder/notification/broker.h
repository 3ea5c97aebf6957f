// libmosquitto, wrapped: a connection to an MQTT broker, without a thread of its own.

#pragma once

#include "recorder/settings/settings.h"
#include "recorder/support/error.h"

#include <chrono>
#include <memory>
#include <set>
#include <string>

struct mosquitto;

namespace recorder {

// The broker couldn't be reached, turned the connection down, or didn't answer in time. Names it.
class BrokerError : public Error {
public:
    using Error::Error;
};

class Broker {
public:
    // Connects and waits until the broker has let it in, no longer than the settings say; looking
    // up the host's name comes on top. Throws BrokerError, or Error when the password can't be
    // read: nothing has then been sent.
    explicit Broker(const BrokerSettings& settings);

    // Says goodbye if the connection still stands.
    ~Broker();

    // libmosquitto's callbacks hold a pointer to it.
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;
    Broker(Broker&&) = delete;
    Broker& operator=(Broker&&) = delete;

    // Hands a message over at QoS 1, not retained, and returns its number. Throws BrokerError.
    [[nodiscard]] int Publish(const std::string& topic, const std::string& payload);

    // Waits until the broker has acknowledged the message with that number, no longer than the
    // settings say. Throws BrokerError.
    void AwaitAcknowledgement(int message);

private:
    using Clock = std::chrono::steady_clock;

    struct Destroy {
        void operator()(mosquitto* client) const;
    };

    struct Events;

    void Configure();
    void UseTls();
    void UsePassword();
    void Connect();
    void Work(Clock::time_point deadline, const std::string& attempted);
    void Demand(int result, const std::string& attempted);
    [[noreturn]] void Fail(const std::string& attempted, const std::string& reason);
    void TellComplaints();

    std::string m_name; // for messages
    BrokerSettings m_settings;
    int m_answer = -1;            // to the wish to connect; 0 = let in, -1 = none yet
    std::set<int> m_acknowledged; // messages that nobody has waited for yet
    std::string m_complaints;     // of libmosquitto, not in the log yet
    std::unique_ptr<mosquitto, Destroy> m_client;
};

} // namespace recorder
