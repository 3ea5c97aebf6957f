#include "recorder/notification/message.h"

namespace recorder {

std::string TopicOf(const Message& message, const std::string& prefix) {
    return prefix + "/" + message.topic;
}

std::string MessageOf(const Message& message) {
    return R"({"id":)" + std::to_string(message.id) + R"(,"time":)" +
           std::to_string(message.createdTm) + R"(,"body":)" + message.body + "}";
}

} // namespace recorder
