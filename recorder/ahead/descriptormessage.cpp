#include "recorder/ahead/descriptormessage.h"

#include "recorder/support/uninterrupted.h"

#include <array>
#include <cstring>

#include <sys/socket.h>
#include <sys/uio.h>

namespace recorder {

namespace {

// The room for one descriptor, aligned as the kernel expects it.
union Control {
    struct cmsghdr header;
    std::array<std::byte, CMSG_SPACE(sizeof(int))> bytes;
};

struct msghdr MessageOf(struct iovec& part, Control& control) {
    struct msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    return message;
}

UniqueFd DescriptorIn(struct msghdr& message) {
    const struct cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (header == nullptr || header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) {
        return {};
    }
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
    return UniqueFd(descriptor);
}

} // namespace

bool SendWithDescriptor(int socket, std::span<std::byte> message, int descriptor) {
    Control control = {};
    struct iovec part = {message.data(), message.size()};
    struct msghdr sent = MessageOf(part, control);
    struct cmsghdr* const header = CMSG_FIRSTHDR(&sent);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    return Uninterrupted([&] { return sendmsg(socket, &sent, MSG_DONTWAIT | MSG_NOSIGNAL); }) ==
           static_cast<ssize_t>(message.size());
}

UniqueFd ReceiveWithDescriptor(int socket, std::span<std::byte> message) {
    Control control = {};
    struct iovec part = {message.data(), message.size()};
    struct msghdr received = MessageOf(part, control);
    const ssize_t length =
        Uninterrupted([&] { return recvmsg(socket, &received, MSG_CMSG_CLOEXEC); });
    if (length <= 0) {
        return {};
    }
    UniqueFd descriptor = DescriptorIn(received);
    if (static_cast<std::size_t>(length) != message.size()) {
        descriptor.Reset();
    }
    return descriptor;
}

} // namespace recorder
