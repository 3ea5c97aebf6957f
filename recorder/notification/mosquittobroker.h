// A wrapper of libmosquitto: a connection to an MQTT broker, without a thread. It waits without a
// deadline, in a helper process that has one (brokerprocess.h).

#pragma once

#include "recorder/notification/broker.h"

#include <memory>
#include <set>
#include <string>

struct mosquitto;

namespace recorder {

class MosquittoBroker final : public Broker {
public:
    // Connects, and waits until the broker has accepted the connection. Throws BrokerError or
    // Error.
    explicit MosquittoBroker(const BrokerSettings& settings);

    // The callbacks of libmosquitto have a pointer to this object.
    MosquittoBroker(const MosquittoBroker&) = delete;
    MosquittoBroker& operator=(const MosquittoBroker&) = delete;
    MosquittoBroker(MosquittoBroker&&) = delete;
    MosquittoBroker& operator=(MosquittoBroker&&) = delete;
    ~MosquittoBroker() override;

    [[nodiscard]] int Publish(const std::string& topic, const std::string& payload) override;
    void AwaitAcknowledgement(int message) override;
    [[nodiscard]] std::string TakeComplaints() override;

private:
    struct Destroy {
        void operator()(mosquitto* client) const;
    };

    struct Events;

    void Configure();
    void UseTls();
    void UsePassword();
    void Connect();
    void Work(const std::string& attempted);
    void Require(int result, const std::string& attempted);
    [[noreturn]] void Fail(const std::string& attempted, const std::string& reason);

    std::string m_name; // for messages
    BrokerSettings m_settings;
    int m_state = 0;              // the connection's status code of libmosquitto
    int m_answer = -1;            // to the connection request; 0 = accepted, -1 = none yet
    std::set<int> m_acknowledged; // numbers of messages not yet awaited
    std::string m_complaints;     // of libmosquitto, not yet taken
    std::unique_ptr<mosquitto, Destroy> m_client;
};

} // namespace recorder
