// The words to the rest of the package that are kept in the database: the outbox.

#pragma once

#include <string>
#include <vector>

namespace recorder {

struct Word {
    long id = 0;        // rises, and is never used twice
    long createdTm = 0; // seconds since the epoch
    std::string topic;  // without the prefix
    std::string body;   // JSON
};

// Keeps a word. If it is `due` it stays until it is forgotten; otherwise it belongs to a journal of
// which the newest entries stay. Throws Error.
void PutWord(const std::string& topic, const std::string& body, bool due);

// The oldest words that are due, `atMost` of them, oldest first. Throws Error.
[[nodiscard]] std::vector<Word> DueWords(int atMost);

// The word has been delivered. Throws Error.
void ForgetWord(long id);

} // namespace recorder
