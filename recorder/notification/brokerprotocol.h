// The messages between the recorder and the helper process that publishes, over a stream socket.
//
// The helper process first reports whether the broker has accepted the connection. After that it
// sends one reply to each request.

#pragma once

#include "recorder/support/deadline.h"

#include <cstdint>
#include <string>

namespace recorder {

struct BrokerMessage {
    enum class Kind : int32_t {
        Publish,              // request: publish the payload under the topic
        AwaitAcknowledgement, // request: wait for that of the message `number`
        Done,                 // reply; to Publish, with the message's number
        BrokerFailed,         // last reply: a BrokerError, its text in `payload`
        Failed                // last reply: another error, its text in `payload`
    };
    Kind kind = Kind::Done;
    int32_t number = 0;
    std::string topic;
    std::string payload;
};

enum class Exchange { Done, PeerGone, TimedOut };

[[nodiscard]] Exchange Send(int socket, const BrokerMessage& message, const Deadline& deadline);
[[nodiscard]] Exchange Receive(int socket, BrokerMessage& message, const Deadline& deadline);

} // namespace recorder
