// A connection to an MQTT broker.
//
// Some waits of the library can't be interrupted, such as the look-up of a host's name. The library
// therefore works in a helper process, which is killed at the deadline.

#pragma once

#include "recorder/settings/settings.h"
#include "recorder/support/deadline.h"
#include "recorder/support/error.h"

#include <memory>
#include <string>

namespace recorder {

// The broker can't be reached or refused the connection. The text names the broker.
class BrokerError : public Error {
public:
    using Error::Error;
};

// The broker did not answer in time. A second attempt would take as long again.
class BrokerSilence : public BrokerError {
public:
    using BrokerError::BrokerError;
};

class Broker {
public:
    // Disconnects if the connection still exists.
    virtual ~Broker() = default;
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;
    Broker(Broker&&) = delete;
    Broker& operator=(Broker&&) = delete;

    // Sends a message at QoS 1, not retained, and returns its number. Throws BrokerError.
    [[nodiscard]] virtual int Publish(const std::string& topic, const std::string& payload) = 0;

    // Waits until the broker has acknowledged the message with that number. Throws BrokerError.
    virtual void AwaitAcknowledgement(int message) = 0;

    // The library's warnings and errors since the last call that did not cause a failure.
    [[nodiscard]] virtual std::string TakeComplaints() = 0;

protected:
    Broker() = default;
};

// Connects, and waits until the broker has accepted the connection. The settings' time-out limits
// the connection, including the look-up of the host's name, and each acknowledgement. All of it
// ends at the deadline. Throws BrokerError, or Error if the module or the helper process can't be
// used; nothing has been sent then.
[[nodiscard]] std::unique_ptr<Broker> ConnectBroker(const BrokerSettings& settings,
                                                    const Deadline& deadline = Deadline::Never());

// The module's function. It waits without a deadline. The caller owns the result.
using ConnectBrokerFunction = Broker*(const BrokerSettings& settings);

} // namespace recorder
