// A connection to an MQTT broker.
//
// The library behind it may wait for long where nobody can interrupt it, as while it looks up a
// host's name. So it works in a process of its own, which is killed at the deadline.

#pragma once

#include "recorder/settings/settings.h"
#include "recorder/support/deadline.h"
#include "recorder/support/error.h"

#include <memory>
#include <string>

namespace recorder {

// The broker couldn't be reached, or turned the connection down. Names it.
class BrokerError : public Error {
public:
    using Error::Error;
};

// It didn't answer in time: to ask it once more would take as long again.
class BrokerSilence : public BrokerError {
public:
    using BrokerError::BrokerError;
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

    // Waits until the broker has acknowledged the message with that number. Throws BrokerError.
    virtual void AwaitAcknowledgement(int message) = 0;

    // What it complained of although it succeeded, since this was asked last.
    [[nodiscard]] virtual std::string TakeComplaints() = 0;

protected:
    Broker() = default;
};

// Connects, and waits until the broker has let it in. For that, the look-up of its name included,
// and for each acknowledgement it takes the settings' time-out at most, and nothing after the
// deadline. Throws BrokerError, or Error when the module or a process can't be used: nothing has
// then been sent.
[[nodiscard]] std::unique_ptr<Broker> ConnectBroker(const BrokerSettings& settings,
                                                    const Deadline& deadline = Deadline::Never());

// The module's function, which waits without a deadline; the caller owns what it returns.
using ConnectBrokerFunction = Broker*(const BrokerSettings& settings);

} // namespace recorder
