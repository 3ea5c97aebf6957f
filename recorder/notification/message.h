// A message of the outbox as it is published.

#pragma once

#include "recorder/notification/outbox.h"

#include <string>

namespace recorder {

// "kestora/event/list"
[[nodiscard]] std::string TopicOf(const Message& message, const std::string& prefix);

// JSON: the message's body as it is, and around it the id, by which a receiver knows a message that
// it has had before, and the time.
[[nodiscard]] std::string MessageOf(const Message& message);

} // namespace recorder
