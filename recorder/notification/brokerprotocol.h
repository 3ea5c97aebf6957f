// What the recorder and the process that publishes for it say to each other, over a stream of
// bytes.
//
// That process first says whether the broker has let it in. Then, for each request, it replies
// once.

#pragma once

#include "recorder/support/deadline.h"

#include <cstdint>
#include <optional>
#include <string>

namespace recorder {

struct BrokerMessage {
    enum class Kind : int32_t {
        Publish,              // request: the payload is published under the topic
        AwaitAcknowledgement, // request: of the message with that number
        Done,                 // reply; to Publish with the message's number
        BrokerFailed,         // reply, and the last one: a BrokerError, its text in `payload`
        Failed                // likewise, another error
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
