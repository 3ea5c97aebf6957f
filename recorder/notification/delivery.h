// Messages on their way: into the outbox while a run works, and from there to the broker that the
// settings name once its work is done.
//
// A message leaves the outbox once the broker has acknowledged it, so it is delivered at least
// once, and messages are published in the order in which they were queued. A failure, or the end of
// the time that the settings allow, is logged once and ends the attempts of the run; what is left
// goes out with the next one.

#pragma once

#include <string>

namespace recorder {

// Queues the message; nothing connects to the broker. Without a broker it goes to the journal.
// Throws Error when it can't be kept. `told` as in QueueMessage.
void Enqueue(const std::string& topic, const std::string& body, const std::string& told = {});

// Publishes what is queued, in no more time than the settings allow. The run's lock must be free by
// now: nobody waits for a broker on account of this run.
void PublishQueuedMessages() noexcept;

} // namespace recorder
