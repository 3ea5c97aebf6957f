#include "recorder/container/containerprotocol.h"

#include "recorder/support/uninterrupted.h"

#include <sys/socket.h>
#include <sys/uio.h>

namespace recorder {

namespace {

struct iovec PieceToSend(std::span<const std::byte> bytes) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): sendmsg only reads
    return {.iov_base = const_cast<std::byte*>(bytes.data()), .iov_len = bytes.size()};
}

} // namespace

bool SendMessage(int socket, std::span<const std::byte> head, std::span<const std::byte> tail) {
    std::array<struct iovec, 2> pieces{PieceToSend(head), PieceToSend(tail)};
    struct msghdr message = {};
    message.msg_iov = pieces.data();
    message.msg_iovlen = pieces.size();
    return Uninterrupted([&] { return sendmsg(socket, &message, MSG_NOSIGNAL); }) > 0;
}

std::size_t ReceiveMessage(int socket, std::span<std::byte> head, std::span<std::byte> tail) {
    std::array<struct iovec, 2> pieces{{{head.data(), head.size()}, {tail.data(), tail.size()}}};
    struct msghdr message = {};
    message.msg_iov = pieces.data();
    message.msg_iovlen = pieces.size();
    const ssize_t length = Uninterrupted([&] { return recvmsg(socket, &message, 0); });
    return length < 0 ? 0 : static_cast<std::size_t>(length);
}

} // namespace recorder
