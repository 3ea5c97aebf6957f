// The messages to the rest of the package that are kept in the database: the outbox.

#pragma once

#include <string>
#include <vector>

namespace recorder {

struct Message {
    long id = 0;        // rises, and is never used twice
    long createdTm = 0; // seconds since the epoch
    std::string topic;  // without the prefix
    std::string body;   // JSON
};

// Keeps a message. If it is `due` it stays until it is forgotten; otherwise it belongs to a journal
// of which the newest entries stay. It is message of the recordings with the ids `told` (separated
// by
// ","), which are unannounced no more. Throws Error.
void QueueMessage(const std::string& topic, const std::string& body, bool due,
                  const std::string& told = {});

// A recording that a run added without having left message of it: the run was killed in between.
struct UnannouncedRecording {
    int camId = 0;
    int id = 0;
};

// The first of them, `atMost`, by camera. Those whose rows are gone again are forgotten. Throws
// Error.
[[nodiscard]] std::vector<UnannouncedRecording> UnannouncedRecordings(int atMost);

// The oldest messages that are due, `atMost` of them, oldest first. Throws Error.
[[nodiscard]] std::vector<Message> DueMessages(int atMost);

// How many are due. Throws Error.
[[nodiscard]] long CountDueMessages();

// The message has been delivered. Throws Error.
void DeleteMessage(long id);

// "kestora/event/list"
[[nodiscard]] std::string TopicOf(const Message& message, const std::string& prefix);

// JSON: the message's body as it is, and around it the id, by which a receiver knows a message that
// it has had before, and the time.
[[nodiscard]] std::string MessageOf(const Message& message);

} // namespace recorder
