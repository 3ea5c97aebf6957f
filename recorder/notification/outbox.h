// The outbox: messages to the rest of the package, stored in the database.

#pragma once

#include <string>
#include <vector>

namespace recorder {

struct Message {
    long id = 0;        // increases; never used twice
    long createdTm = 0; // seconds since the epoch
    std::string topic;  // without the prefix
    std::string body;   // JSON
};

// Stores a message. A message that is `due` stays until DeleteMessage; any other one is an entry of
// a journal that keeps its newest entries. `announced` has the ids of the recordings that the
// message reports, separated by ","; they are no longer unannounced. Throws Error.
void QueueMessage(const std::string& topic, const std::string& body, bool due,
                  const std::string& announced = {});

// A recording that a run added without queueing its message, because the run was killed.
struct UnannouncedRecording {
    int camId = 0;
    int id = 0;
};

// The first `atMost` unannounced recordings, ordered by camera. Entries whose rows have been
// removed are deleted. Throws Error.
[[nodiscard]] std::vector<UnannouncedRecording> UnannouncedRecordings(int atMost);

// At most `atMost` due messages, oldest first. Throws Error.
[[nodiscard]] std::vector<Message> DueMessages(int atMost);

// The number of due messages. Throws Error.
[[nodiscard]] long CountDueMessages();

// Deletes a message that has been delivered. Throws Error.
void DeleteMessage(long id);

// "kestora/event/list"
[[nodiscard]] std::string TopicOf(const Message& message, const std::string& prefix);

// The JSON text to publish: the body unchanged, with the message's time and its id, by which a
// receiver recognises a repeated message.
[[nodiscard]] std::string MessageOf(const Message& message);

} // namespace recorder
