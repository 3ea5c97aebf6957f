#include "recorder/notification/message.h"

namespace recorder {

std::string TopicOf(const Word& word, const std::string& prefix) {
    return prefix + "/" + word.topic;
}

std::string MessageOf(const Word& word) {
    return R"({"id":)" + std::to_string(word.id) + R"(,"time":)" + std::to_string(word.createdTm) +
           R"(,"body":)" + word.body + "}";
}

} // namespace recorder
