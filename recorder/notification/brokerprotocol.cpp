#include "recorder/notification/brokerprotocol.h"

#include "recorder/support/helperprocess.h"
#include "recorder/support/uninterrupted.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <span>

#include <poll.h>
#include <sys/socket.h>

namespace recorder {

namespace {

// As laid out in memory, because both ends are the same program.
struct Head {
    BrokerMessage::Kind kind{};
    int32_t number = 0;
    std::size_t topicBytes = 0;
    std::size_t payloadBytes = 0;
};

Exchange SendBytes(int socket, std::span<const std::byte> bytes, const Deadline& deadline) {
    while (!bytes.empty()) {
        if (!IsReadyBefore(deadline, socket, POLLOUT)) {
            return Exchange::TimedOut;
        }
        const ssize_t sent = Uninterrupted(
            [&] { return send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT); });
        if (sent < 0 && errno != EAGAIN) {
            return Exchange::PeerGone;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(sent, 0)));
    }
    return Exchange::Done;
}

Exchange ReceiveBytes(int socket, std::span<std::byte> bytes, const Deadline& deadline) {
    while (!bytes.empty()) {
        if (!IsReadyBefore(deadline, socket, POLLIN)) {
            return Exchange::TimedOut;
        }
        const ssize_t received =
            Uninterrupted([&] { return recv(socket, bytes.data(), bytes.size(), MSG_DONTWAIT); });
        if (received == 0 || (received < 0 && errno != EAGAIN)) {
            return Exchange::PeerGone;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
    }
    return Exchange::Done;
}

Exchange ReceiveText(int socket, std::string& text, std::size_t length, const Deadline& deadline) {
    text.resize(length);
    return ReceiveBytes(socket, std::as_writable_bytes(std::span(text)), deadline);
}

} // namespace

Exchange Send(int socket, const BrokerMessage& message, const Deadline& deadline) {
    const Head head{.kind = message.kind,
                    .number = message.number,
                    .topicBytes = message.topic.size(),
                    .payloadBytes = message.payload.size()};
    Exchange exchange = SendBytes(socket, std::as_bytes(std::span(&head, 1)), deadline);
    for (const std::string* const text : {&message.topic, &message.payload}) {
        if (exchange == Exchange::Done) {
            exchange = SendBytes(socket, std::as_bytes(std::span(*text)), deadline);
        }
    }
    return exchange;
}

Exchange Receive(int socket, BrokerMessage& message, const Deadline& deadline) {
    Head head;
    Exchange exchange = ReceiveBytes(socket, std::as_writable_bytes(std::span(&head, 1)), deadline);
    if (exchange == Exchange::Done) {
        message.kind = head.kind;
        message.number = head.number;
        exchange = ReceiveText(socket, message.topic, head.topicBytes, deadline);
    }
    return exchange == Exchange::Done
               ? ReceiveText(socket, message.payload, head.payloadBytes, deadline)
               : exchange;
}

} // namespace recorder
