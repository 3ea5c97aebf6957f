// The delivery of messages: a run queues them in the outbox, and publishes them to the configured
// broker after its work.
//
// A message is deleted from the outbox after the broker has acknowledged it, so it is delivered at
// least once. Messages are published in the order in which they were queued. The first failure, or
// the end of the time that the settings allow, is logged and ends the attempts of the run. The next
// run publishes the remaining messages.

#pragma once

#include <string>

namespace recorder {

// Queues the message without connecting to the broker. Without a configured broker the message
// becomes a journal entry. Throws Error if it can't be stored. `announced` as in QueueMessage.
void Enqueue(const std::string& topic, const std::string& body, const std::string& announced = {});

// Publishes the queued messages, in no more time than the settings allow. The run lock must have
// been released, so that no other run waits for a broker.
void PublishQueuedMessages() noexcept;

} // namespace recorder
