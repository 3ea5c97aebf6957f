// A connection to an MQTT broker. What is behind it lies in a module.

#pragma once

#include "recorder/settings/settings.h"
#include "recorder/support/error.h"

#include <memory>
#include <string>

namespace recorder {

// The broker couldn't be reached, turned the connection down, or didn't answer in time. Names it.
class BrokerError : public Error {
public:
    using Error::Error;
};

class Broker {
public:
    // Says goodbye if the connection still stands.
    virtual ~Broker() = default;
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;
    Broker(Broker&&) = delete;
    Broker& operator=(Broker&&) = delete;

    // Hands a message over at QoS 1, not retained, and returns its number. Throws BrokerError.
    [[nodiscard]] virtual int Publish(const std::string& topic, const std::string& payload) = 0;

    // Waits until the broker has acknowledged the message with that number, no longer than the
    // settings say. Throws BrokerError.
    virtual void AwaitAcknowledgement(int message) = 0;

protected:
    Broker() = default;
};

// Connects and waits until the broker has let it in, no longer than the settings say; looking up
// the host's name comes on top. Throws BrokerError, or Error when the password can't be read or the
// module can't be used: nothing has then been sent.
[[nodiscard]] std::unique_ptr<Broker> ConnectBroker(const BrokerSettings& settings);

// The module's function; the caller owns what it returns.
using ConnectBrokerFunction = Broker*(const BrokerSettings& settings);

} // namespace recorder
