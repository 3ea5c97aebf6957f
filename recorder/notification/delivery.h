// Words on their way: from the outbox to the broker that the settings name.
//
// A word leaves the outbox once the broker has acknowledged it, so it is delivered at least once,
// and words are published in the order in which they were put in. A failure is logged, once, and
// ends the attempts of the run: its work goes on, and the words go out with the next one.

#pragma once

#include <string>

namespace recorder {

// Keeps the word and publishes whatever is due. Without a broker it goes to the journal. Throws
// Error when the word can't be kept. `told` as in PutWord.
void Tell(const std::string& topic, const std::string& body, const std::string& told = {});

// Publishes whatever is due and closes the connection: the run is at its end.
void TellTheRest() noexcept;

} // namespace recorder
